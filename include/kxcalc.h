/*
 * kxcalc: numeric kernels for measurement hosts. Interface version 2.17.
 *
 * Stateless functions over caller-owned buffers. What holds for all of them:
 *
 *   Counts      are numbers of elements, never bytes. Strides are in elements.
 *   Alignment   Every buffer is aligned to the size of its element (1, 2, 4 or 8 bytes). No buffer needs more. Speed is
 *               best at 16 bytes; results are the same at every alignment, except where a function says so.
 *   Overlap     Buffers of one call do not overlap, and no out-parameter lies in a buffer, except where a function says
 *               so.
 *   Access      A function reads and writes nothing outside the elements that it names: a buffer may end (or begin) at
 *               an inaccessible page.
 *   Errors      Except for the interpolator, there are no error codes and no argument checks. A null pointer, a buffer
 *               shorter than its count, or a count that a function excludes is undefined behaviour.
 *   Threads     No shared state. Any number of threads may call anything at once, as long as nothing that one call
 *               writes is read or written by another call at the same time.
 *   Arithmetic  is IEEE 754, round to nearest, each operation rounded to the precision named, never fused. Results are
 *               the same bits on every processor and compiler. The one thing not promised is which NaN (sign, payload)
 *               comes out of arithmetic on NaNs. No floating-point exception flag is read, and the control register is
 *               not written; the functions expect it at its default (round to nearest, denormals honoured).
 *   Calls       C linkage, the platform's C calling convention (cdecl on 32-bit Windows), names undecorated. Nothing is
 *               thrown, and nothing is allocated except by kxcalcCHSInterpolator_Create.
 *
 * Three terms used below. The "head" of a buffer is the 0 to 7 elements before its first 16-byte boundary. The "body"
 * is the whole 16-byte blocks (for 16-bit samples 8 elements, for 32-bit samples 4, for doubles 2) that follow; the
 * "tail" is the rest.
 *
 * "lesser(a, b)" is a if a < b, else b; "greater(a, b)" is a if a > b, else b. The second operand wins ties (+0 equals
 * -0) and wins whenever either operand is a NaN.
 */
#ifndef KXCALC_H
#define KXCALC_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(KXCALC_BUILDING)
#define KXCALC_API __declspec(dllexport)
#else
#define KXCALC_API __declspec(dllimport)
#endif
#else
#define KXCALC_API __attribute__((visibility("default")))
#endif

/* A double in a record lies at a multiple of 8 on every platform; 32-bit x86 would take 4. */
#if defined(__GNUC__)
typedef double kxcalc_double __attribute__((aligned(8)));
#else
typedef double kxcalc_double;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------------------- Version */

/**
 * Version of this interface: 2.17.
 *
 * The three results are written in the order major, minor, flag.
 *
 * @param major  out, one number: receives 2.
 * @param minor  out, one number: receives 17.
 * @param value  in: a number of the caller's.
 * @param flag   out, one number: receives 1 if value is 10 or more, else 0 (negative values give 0).
 */
KXCALC_API void kxcalcGetVersion(uint32_t* major, uint32_t* minor, int32_t value, uint32_t* flag);

/* ---------------------------------------------------------------------------------------------- Minimum and maximum */

/**
 * Smallest and largest of a block of 32-bit samples.
 *
 * Both results describe this block alone: whatever they held before is overwritten, not merged.
 *
 * @param data     in, count samples, aligned to 4 bytes.
 * @param count    number of samples, at least 1. Count 0 is excluded (there is no guard).
 * @param minimum  out, one sample: receives the smallest.
 * @param maximum  out, one sample: receives the largest.
 */
KXCALC_API void kxcalcGetMinMax_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum);

/**
 * Smallest and largest of a block of 16-bit samples.
 *
 * Both results describe this block alone: whatever they held before is overwritten, not merged.
 *
 * @param data     in, count samples, aligned to 2 bytes.
 * @param count    number of samples, at least 1. Count 0 is excluded (there is no guard).
 * @param minimum  out, one sample: receives the smallest.
 * @param maximum  out, one sample: receives the largest.
 */
KXCALC_API void kxcalcGetMinMax_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum);

/**
 * Smallest and largest of a block of singles.
 *
 * Both results describe this block alone: whatever they held before is overwritten, not merged. Without NaNs the
 * results are the true extremes. What NaNs do, and which zero comes out of a block that holds both +0 and -0, follows
 * from the order in which samples are compared:
 *
 * - 1 to 3 samples: both results start as data[0]; then each later sample in turn replaces the minimum if it is less,
 *   and the maximum if it is greater. So a NaN at position 0 stays, later NaNs are ignored, and the first of equal
 *   values is kept.
 * - 4 samples or more: four lanes start at data[0..3]. The aligned blocks of four of the body, then the last four
 *   samples, are folded in: lane = lesser(lane, sample), and greater for the maximum. The lanes are then combined as
 *   lesser(lesser(lane0, lane2), lesser(lane1, lane3)). So a NaN takes over its lane and the next sample of that lane
 *   replaces it again; it reaches the result only as the last value of a lane that is a second operand throughout. With
 *   NaNs or with zeros of both signs the result depends on the alignment of data.
 *
 * @param data     in, count samples, aligned to 4 bytes.
 * @param count    number of samples, at least 1. Count 0 is excluded (there is no guard).
 * @param minimum  out, one sample: receives the smallest.
 * @param maximum  out, one sample: receives the largest.
 */
KXCALC_API void kxcalcGetMinMax_float(const float* data, uint32_t count, float* minimum, float* maximum);

/**
 * Smallest and largest of a block of doubles.
 *
 * Both results describe this block alone: whatever they held before is overwritten, not merged. Without NaNs the
 * results are the true extremes. What NaNs do, and which zero comes out of a block that holds both +0 and -0, follows
 * from the order in which samples are compared:
 *
 * - 1 sample: both results are that sample.
 * - 2 samples or more: two lanes start at data[0] and data[1]. The aligned blocks of two of the body, then the last two
 *   samples, are folded in: lane = lesser(lane, sample), and greater for the maximum. The result is lesser(lane0,
 *   lane1). So a NaN takes over its lane and the next sample of that lane replaces it again; it reaches the result only
 *   as the last value of lane 1. With NaNs or with zeros of both signs the result depends on the alignment of data.
 *
 * @param data     in, count samples, aligned to 8 bytes.
 * @param count    number of samples, at least 1. Count 0 is excluded (there is no guard).
 * @param minimum  out, one sample: receives the smallest.
 * @param maximum  out, one sample: receives the largest.
 */
KXCALC_API void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum, double* maximum);

/* ------------------------------------------------------------------------------------ Minimum, maximum, average and */

/**
 * Statistics line of a block of singles: extremes, sum, and sum of squares about an offset.
 *
 * The caller divides: average = sum / samples, RMS = sqrt(sumOfSquares / samples); with rmsOffset = -average the latter
 * is the RMS of the alternating part. The sums are added onto what the caller passes, so that a statistic may span many
 * blocks.
 *
 * - 1 to 3 samples: the extremes are MERGED with the values passed in (strict comparisons: a NaN sample replaces
 *   nothing, a NaN passed in stays), and q = double(sample + rmsOffset), the addition rounded to single.
 * - 4 samples or more: the extremes are those of this block alone, as kxcalcGetMinMax_float gives them, and OVERWRITE
 *   the values passed in. Head and tail samples are added to the sums one at a time, with q as above. In the body q =
 *   double(sample) + double(rmsOffset), and each sum is gathered in two partial sums, of the samples at even and at odd
 *   distance from the first 16-byte boundary, which are then added together and onto the total. So the last bits of
 *   both sums depend on the alignment of data.
 *
 * @param data          in, count samples, aligned to 4 bytes.
 * @param count         number of samples. 0 returns at once: nothing is read or written.
 * @param minimum       in/out, one sample: merged up to 3 samples, overwritten from 4 on.
 * @param maximum       in/out, one sample: merged up to 3 samples, overwritten from 4 on.
 * @param sum           in/out, one double: every sample is added to it, as a double.
 * @param sumOfSquares  in/out, one double: every q * q is added to it, in double.
 * @param rmsOffset     added to each sample before squaring; does not enter sum, minimum or maximum.
 */
KXCALC_API void kxcalcGetMinMaxAveRMS_float(const float* data, uint32_t count, float* minimum, float* maximum,
                                            double* sum, double* sumOfSquares, float rmsOffset);

/**
 * Statistics line of a block of doubles: extremes, sum, and sum of squares about an offset.
 *
 * The caller divides: average = sum / samples, RMS = sqrt(sumOfSquares / samples); with rmsOffset = -average the latter
 * is the RMS of the alternating part. The sums are added onto what the caller passes, so that a statistic may span many
 * blocks.
 *
 * - 1 sample: the extremes are MERGED with the values passed in (strict comparisons: a NaN sample replaces nothing, a
 *   NaN passed in stays).
 * - 2 samples or more: the extremes are those of this block alone, as kxcalcGetMinMax_double gives them, and OVERWRITE
 *   the values passed in. Head and tail samples are added to the sums one at a time; in the body each sum is gathered
 *   in two partial sums, of the samples at even and at odd distance from the first 16-byte boundary, which are then
 *   added together and onto the total. So the last bits of both sums depend on the alignment of data.
 *
 * @param data          in, count samples, aligned to 8 bytes.
 * @param count         number of samples. 0 returns at once: nothing is read or written.
 * @param minimum       in/out, one sample: merged for 1 sample, overwritten from 2 on.
 * @param maximum       in/out, one sample: merged for 1 sample, overwritten from 2 on.
 * @param sum           in/out, one double: every sample is added to it.
 * @param sumOfSquares  in/out, one double: every q * q is added to it, where q = sample + rmsOffset.
 * @param rmsOffset     added to each sample before squaring; does not enter sum, minimum or maximum.
 */
KXCALC_API void kxcalcGetMinMaxAveRMS_double(const double* data, uint32_t count, double* minimum, double* maximum,
                                             double* sum, double* sumOfSquares, double rmsOffset);

/**
 * Statistics line of a block of 16-bit samples: extremes, sum, and sum of squares about an offset.
 *
 * The caller divides: average = sum / samples, RMS = sqrt(sumOfSquares / samples); with rmsOffset = -average the latter
 * is the RMS of the alternating part. The sums are added onto what the caller passes, so that a statistic may span many
 * blocks.
 *
 * - 1 to 7 samples: the extremes are MERGED with the values passed in, and q = double(single(sample) + rmsOffset), the
 *   addition rounded to single.
 * - 8 samples or more: the extremes are those of this block alone and OVERWRITE the values passed in. Head and tail
 *   samples are added to the sums one at a time, with q as above. In the body q = double(sample) + double(rmsOffset),
 *   and each sum is gathered in two partial sums, of the samples at even and at odd distance from the first 16-byte
 *   boundary, which are then added together and onto the total. So the last bits of sumOfSquares depend on the
 *   alignment of data, unless every partial sum is exact.
 *
 * Fastest when rmsOffset is a whole number.
 *
 * @param data          in, count samples, aligned to 2 bytes.
 * @param count         number of samples. 0 returns at once: nothing is read or written.
 * @param minimum       in/out, one sample: merged up to 7 samples, overwritten from 8 on.
 * @param maximum       in/out, one sample: merged up to 7 samples, overwritten from 8 on.
 * @param sum           in/out, one double: every sample is added to it.
 * @param sumOfSquares  in/out, one double: every q * q is added to it, in double.
 * @param rmsOffset     added to each sample before squaring; does not enter sum, minimum or maximum.
 */
KXCALC_API void kxcalcGetMinMaxAveRMS_int16_t(const int16_t* data, uint32_t count, int16_t* minimum, int16_t* maximum,
                                              double* sum, double* sumOfSquares, float rmsOffset);

/**
 * Statistics line of a block of 32-bit samples: extremes, sum, and sum of squares about an offset.
 *
 * The caller divides: average = sum / samples, RMS = sqrt(sumOfSquares / samples); with rmsOffset = -average the latter
 * is the RMS of the alternating part. The sums are added onto what the caller passes, so that a statistic may span many
 * blocks.
 *
 * - 1 to 3 samples: the extremes are MERGED with the values passed in.
 * - 4 samples or more: the extremes are those of this block alone and OVERWRITE the values passed in. Head and tail
 *   samples are added to the sums one at a time; in the body each sum is gathered in two partial sums, of the samples
 *   at even and at odd distance from the first 16-byte boundary, which are then added together and onto the total. So
 *   the last bits of both sums depend on the alignment of data, unless every partial sum is exact.
 *
 * @param data          in, count samples, aligned to 4 bytes.
 * @param count         number of samples. 0 returns at once: nothing is read or written.
 * @param minimum       in/out, one sample: merged up to 3 samples, overwritten from 4 on.
 * @param maximum       in/out, one sample: merged up to 3 samples, overwritten from 4 on.
 * @param sum           in/out, one double: every sample is added to it.
 * @param sumOfSquares  in/out, one double: every q * q is added to it, where q = double(sample) + rmsOffset.
 * @param rmsOffset     added to each sample before squaring; does not enter sum, minimum or maximum.
 */
KXCALC_API void kxcalcGetMinMaxAveRMS_int32_t(const int32_t* data, uint32_t count, int32_t* minimum, int32_t* maximum,
                                              double* sum, double* sumOfSquares, double rmsOffset);

/**
 * Copies one channel out of interleaved 16-bit samples and gathers its statistics line on the way.
 *
 * Sums and offset are those of kxcalcGetMinMaxAveRMS_int16_t. What happens to stride and to the extremes depends on the
 * case:
 *
 * - 1 to 7 samples: destination[i] = source[i * stride], whatever the stride: 0 repeats the first sample, a negative
 *   stride walks backwards. The extremes are MERGED with the values passed in.
 * - 8 samples or more, stride above 1: destination[i] = source[i * stride]; the extremes are MERGED with the values
 *   passed in. Head, body and tail of the sums are those of destination, so the last bits of sumOfSquares depend on its
 *   alignment.
 * - 8 samples or more, stride 1, 0 or negative: the source is read as contiguous, destination[i] = source[i], so a
 *   stride of 0 or below is not honoured; the extremes are those of this block alone and OVERWRITE the values passed
 *   in. Head, body and tail of the sums are those of source.
 *
 * Fastest when rmsOffset is a whole number.
 *
 * @param destination   out, count samples, contiguous, aligned to 2 bytes.
 * @param source        in, aligned to 2 bytes: (count - 1) * stride + 1 samples from the first to the last one read.
 *                      With a stride of 2 or 4 those between the copied ones may be read too; nothing before or after
 *                      is.
 * @param count         number of samples to copy. 0 returns at once: nothing is read or written.
 * @param minimum       in/out, one sample: merged or overwritten as above.
 * @param maximum       in/out, one sample: merged or overwritten as above.
 * @param sum           in/out, one double: every copied sample is added to it.
 * @param sumOfSquares  in/out, one double: every q * q is added to it, in double.
 * @param rmsOffset     added to each sample before squaring; does not enter sum, minimum or maximum.
 * @param stride        distance in samples between consecutive source samples: the channel count of interleaved data.
 */
KXCALC_API void kxcalcMoveAndGetMinMaxAveRMS_int16_t(int16_t* destination, const int16_t* source, uint32_t count,
                                                     int16_t* minimum, int16_t* maximum, double* sum,
                                                     double* sumOfSquares, float rmsOffset, int32_t stride);

/* ------------------------------------------------------------------------------------------------ Vector arithmetic */

/**
 * Scales a vector of singles in place: data[i] = data[i] * factor.
 *
 * @param data    in/out, count singles, aligned to 4 bytes; overwritten.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 * @param factor  multiplier.
 */
KXCALC_API void kxcalcMultiplyVectorByScalar_float(float* data, uint32_t count, float factor);

/**
 * Scales a vector of doubles in place: data[i] = data[i] * factor.
 *
 * @param data    in/out, count doubles, aligned to 8 bytes; overwritten.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 * @param factor  multiplier.
 */
KXCALC_API void kxcalcMultiplyVectorByScalar_double(double* data, uint32_t count, double factor);

/**
 * Sum of the squares of a vector of singles.
 *
 * Squares are formed in double from the widened elements (so they neither round nor overflow), and added in ascending
 * order to one double that starts at 0, each addition rounded: the result is that of the plain loop, at every
 * alignment.
 *
 * @param data   in, count singles, aligned to 4 bytes.
 * @param count  number of elements. 0 returns 0 and reads nothing.
 * @return       the sum.
 */
KXCALC_API double kxcalcSumSquaredValues_float(const float* data, uint32_t count);

/**
 * Dot product of two vectors of singles.
 *
 * Products are formed in double from the widened elements (so they neither round nor overflow), and added in ascending
 * order to one double that starts at 0, each addition rounded: the result is that of the plain loop, at every
 * alignment.
 *
 * @param first   in, count singles, aligned to 4 bytes.
 * @param second  in, count singles, aligned to 4 bytes. May be first, or overlap it.
 * @param count   number of elements. 0 returns 0 and reads nothing.
 * @return        the sum of first[i] * second[i].
 */
KXCALC_API double kxcalcMultiplyVectorsAndCalcSum_float(const float* first, const float* second, uint32_t count);

/**
 * Scaled difference of two vectors: output[i] = (first[i] - second[i]) * factor, both steps rounded to single.
 *
 * output may be first or second, or overlap them in any way: elements are then computed in ascending order, so that an
 * element written early is read back later as an input where the buffers overlap so.
 *
 * @param output  out, count singles, aligned to 4 bytes.
 * @param first   in, count singles, aligned to 4 bytes: minuend.
 * @param second  in, count singles, aligned to 4 bytes: subtrahend.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 * @param factor  multiplier of the difference.
 */
KXCALC_API void kxcalcSubtractVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                               uint32_t count, float factor);

/**
 * Scaled sum of a vector and a scaled vector: output[i] = (second[i] * secondFactor + first[i]) * sumFactor, each of
 * the three steps rounded to single.
 *
 * output may be first or second, or overlap them in any way: elements are then computed in ascending order, so that an
 * element written early is read back later as an input where the buffers overlap so.
 *
 * @param output        out, count singles, aligned to 4 bytes.
 * @param first         in, count singles, aligned to 4 bytes: added as it is.
 * @param second        in, count singles, aligned to 4 bytes: scaled by secondFactor before the addition.
 * @param count         number of elements. 0 returns at once: nothing is read or written.
 * @param secondFactor  multiplier of second.
 * @param sumFactor     multiplier of the sum.
 */
KXCALC_API void kxcalcAddVectorsAndMultiplyByScalar_float(float* output, const float* first, const float* second,
                                                          uint32_t count, float secondFactor, float sumFactor);

/* ----------------------------------------------------------------------------------------------------- Sample width */

/**
 * Narrows 32-bit samples to 16 bits by keeping the low 16 bits of each (two's complement wrap-around, no saturation):
 * 70000 becomes 4464, 32768 becomes -32768.
 *
 * @param source       in, count 32-bit samples, aligned to 4 bytes.
 * @param destination  out, count 16-bit samples, aligned to 2 bytes. Does not overlap source.
 * @param count        number of samples. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcConvertInt32ToInt16(const int32_t* source, int16_t* destination, uint32_t count);

/**
 * Widens 16-bit samples to 32 bits with their sign (exact).
 *
 * @param source       in, count 16-bit samples, aligned to 2 bytes.
 * @param destination  out, count 32-bit samples, aligned to 4 bytes. Does not overlap source.
 * @param count        number of samples. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcConvertInt16ToInt32(const int16_t* source, int32_t* destination, uint32_t count);

/* -------------------------------------------------------------------------------------------- Scaled channel values */

/** Raw sample types, as 32-bit codes. */
enum {
  KXCALC_UINT8 = 0,
  KXCALC_INT8 = 1,
  KXCALC_INT16 = 2,
  KXCALC_UINT16 = 3,
  KXCALC_INT32 = 4,
  KXCALC_SINGLE = 5,
  KXCALC_INT64 = 6,
  KXCALC_DOUBLE = 7,
  KXCALC_UINT32 = 8
};

/** What kxcalcChannelGetScaledValuesAtPos_float and its aligned variant are told. Read only. */
typedef struct ChannelScaledValuesParams_float {
  const void* source; /**< in: the first raw sample to convert, aligned to its own size. */
  float* output;      /**< out: count singles, written densely. */
  float scale;        /**< factor applied to each raw value. */
  float offset;       /**< added after scaling. */
  int32_t count;      /**< number of values. Below 1 nothing is read or written. */
  uint32_t typeCode;  /**< raw sample type, KXCALC_UINT8 to KXCALC_UINT32. Above, nothing is read or written. */
  int32_t stride; /**< from one sample of the channel to the next, in raw samples: the number of interleaved channels. 0
                       repeats the first sample; a negative stride walks towards lower addresses. */
} ChannelScaledValuesParams_float;

/** What kxcalcChannelGetScaledValuesAtPos_double and its aligned variant are told. Read only. */
typedef struct ChannelScaledValuesParams_double {
  const void* source;   /**< in: the first raw sample to convert, aligned to its own size. */
  double* output;       /**< out: count doubles, written densely. */
  kxcalc_double scale;  /**< factor applied to each raw value. */
  kxcalc_double offset; /**< added after scaling. */
  int32_t count;        /**< number of values. Below 1 nothing is read or written. */
  uint32_t typeCode;    /**< raw sample type, KXCALC_UINT8 to KXCALC_UINT32. Above, nothing is read or written. */
  int32_t stride; /**< from one sample of the channel to the next, in raw samples: the number of interleaved channels. 0
                       repeats the first sample; a negative stride walks towards lower addresses. */
} ChannelScaledValuesParams_double;

/**
 * Physical values of a run of one channel's raw samples, in single: output[i] = raw * scale + offset, each of the two
 * steps rounded.
 *
 * Computed in single, from the raw value rounded once to single (exact for 8- and 16-bit samples); for raw doubles
 * computed in double, with scale and offset widened, and rounded once to single at the end. Results do not depend on
 * alignment or count.
 *
 * @param params  in, one record; its output is aligned to 4 bytes. Exactly the samples source + i * stride are read.
 */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_float(const ChannelScaledValuesParams_float* params);

/**
 * The same as kxcalcChannelGetScaledValuesAtPos_float for an output that the caller guarantees to be aligned to 16
 * bytes.
 *
 * @param params  in, one record; its output is aligned to 16 bytes.
 */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_float_aligned_output(const ChannelScaledValuesParams_float* params);

/**
 * Physical values of a run of one channel's raw samples, in double: output[i] = raw * scale + offset, each of the two
 * steps rounded. Raw values are exact in double, except 64-bit integers, which are rounded to the nearest double.
 * Results do not depend on alignment or count.
 *
 * @param params  in, one record; its output is aligned to 8 bytes. Exactly the samples source + i * stride are read.
 */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_double(const ChannelScaledValuesParams_double* params);

/**
 * The same as kxcalcChannelGetScaledValuesAtPos_double for an output that the caller guarantees to be aligned to 16
 * bytes.
 *
 * @param params  in, one record; its output is aligned to 16 bytes.
 */
KXCALC_API void kxcalcChannelGetScaledValuesAtPos_double_aligned_output(const ChannelScaledValuesParams_double* params);

/* ---------------------------------------------------------------------------------------------- Spline interpolator */

/** A resampler of one stream of singles. Opaque; one thread at a time. */
typedef struct CHSInterpolator CHSInterpolator;

/** What an interpolator is created from. Read only. */
typedef struct CHSInterpolatorParams {
  kxcalc_double inputRate;  /**< sample rate of the stream fed in, above 0. */
  kxcalc_double outputRate; /**< sample rate of the output, in the same unit, above 0. */
  uint32_t bufferLength; /**< length of the ring of input samples, a power of two. A block may hold two samples less. */
} CHSInterpolatorParams;

/** Results of the interpolator functions. The first that applies, in the order that each function gives. */
enum {
  KXCALC_SUCCESS = 0,
  KXCALC_INVALID_ARGUMENT = 1, /**< no handle or record, a block of 0 samples, a rate not above 0; no memory. */
  KXCALC_BLOCK_TOO_LONG = 2,   /**< a block of more than bufferLength - 2 samples. */
  KXCALC_STOPPED = 3,          /**< the stream has ended: reset it first. */
  KXCALC_BUFFER_LENGTH = 4     /**< bufferLength is 0 or not a power of two. */
};

/**
 * Creates an interpolator: a cubic Hermite spline with Catmull-Rom tangents (half the difference of the two
 * neighbours), after E. Catmull and R. Rom, "A class of local interpolating splines", 1974.
 *
 * Output k of a stream lies at input position k * inputRate / outputRate; output 0 is the first input sample. This is
 * the one function that allocates. A rate that is a NaN, or rates whose quotient is not finite, give an object that
 * delivers no outputs.
 *
 * @param handleOut  out, one handle: the new interpolator on success; null where memory is short; else untouched.
 * @param params     in, one record.
 * @return           1 if params is null, inputRate is not above 0, outputRate is not above 0 (in this order); 4 for an
 *                   invalid bufferLength; 1 if memory is short, with nothing left behind; else 0.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handleOut, const CHSInterpolatorParams* params);

/**
 * Feeds the next block of a stream and delivers all outputs that the samples fed so far allow: those up to the last
 * sample but one. The first block of a stream holds at least 2 samples; a first block of 1 delivers none.
 *
 * @param handle     an open interpolator.
 * @param input      in, count singles, aligned to 4 bytes.
 * @param count      number of samples, 1 to bufferLength - 2 (of unsigned numbers of 32 bits). 0 gives 1.
 * @param valuesOut  out, one pointer: receives the outputs, which belong to the interpolator and stay until its next
 *                   call.
 * @param countOut   out, one number: receives the number of outputs.
 * @return           1 if count is 0 or handle null; 2 if the block is too long; 3 if the stream has ended (in this
 *                   order, with nothing changed and nothing written); else 0.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_InterpolateValues(CHSInterpolator* handle, const float* input, uint32_t count,
                                                            const float** valuesOut, uint32_t* countOut);

/**
 * Ends a stream: its last sample is fed once more, and the outputs up to that last sample are delivered.
 *
 * With a bufferLength of 2 the stream ends without outputs, and valuesOut and countOut are not written. A stream that
 * has received nothing delivers 0 outputs.
 *
 * @param handle     an open interpolator.
 * @param valuesOut  out, one pointer: receives the outputs, which belong to the interpolator and stay until its next
 *                   call.
 * @param countOut   out, one number: receives the number of outputs.
 * @return           1 if handle is null; 3 if the stream has ended before; else 0.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** valuesOut, uint32_t* countOut);

/**
 * Makes an interpolator, open or stopped, ready for a new stream with the same rates.
 *
 * @param handle  an interpolator.
 * @return        1 if handle is null, else 0.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle);

/**
 * Frees an interpolator and its outputs.
 *
 * @param handle  an interpolator; not to be used again.
 * @return        1 if handle is null, else 0.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle);

/* ---------------------------------------------------------------------------------------------------------- Display */

/**
 * One point of a channel, the axes of a graph, and where the pixel goes. The fields lie at their natural alignment,
 * doubles at multiples of 8 on every platform: xIndex 8 bytes in, the rectangle 16 (three bytes of gap follow
 * yAxisMode), the first double 24, the first pointer 128.
 */
typedef struct XYValGraph2DParams {
  uint8_t reserved[5]; /**< not read. */
  uint8_t xSource;     /**< X is 0: xIndex; 1: xValues[xIndex]; 2: xIndex * xScale + xOffset; else: xMin. */
  uint8_t yType;       /**< type of the Y sample: KXCALC_SINGLE (5), or any other value for a double. */
  uint8_t xAxisMode;   /**< 0: linear; 1: logarithmic; else: X is the normalised value itself. */
  uint32_t xIndex;     /**< sample index of the point. */
  uint8_t yAxisMode;   /**< 0: linear; 1: logarithmic; else: decibel. */
  uint8_t gap[3];      /**< not read. */
  int16_t left;        /**< plot rectangle in pixels; Y pixels grow downwards. */
  int16_t top;         /**< the pixel of the Y axis maximum. */
  int16_t right;
  int16_t bottom;       /**< the pixel of the Y axis minimum. */
  kxcalc_double xScale; /**< for xSource 2. */
  kxcalc_double xOffset;
  kxcalc_double yScale; /**< Y = sample * yScale + yOffset. */
  kxcalc_double yOffset;
  kxcalc_double xMax; /**< ends of a linear X axis. */
  kxcalc_double xMin;
  kxcalc_double xLogMax; /**< ends of a logarithmic X axis, as base-10 logarithms. */
  kxcalc_double xLogMin;
  kxcalc_double yMax; /**< ends of a linear Y axis, and of a decibel axis in dB. */
  kxcalc_double yMin;
  kxcalc_double yLogMax; /**< ends of a logarithmic Y axis, as base-10 logarithms. */
  kxcalc_double yLogMin;
  kxcalc_double dbReference; /**< the value that is 0 dB. */
  const void* yValue;        /**< in: the Y sample, a single or a double by yType. */
  const double* xValues;     /**< in, for xSource 1: X of each sample index. */
  int32_t* pixelX;           /**< out, one number: receives the X pixel. */
  int32_t* pixelY;           /**< out, one number: receives the Y pixel. */
  int32_t* valid;            /**< out, one number: receives 1. */
} XYValGraph2DParams;

/**
 * Places a point of a channel on the pixel grid of a graph with linear, logarithmic or (Y) decibel axes.
 *
 * The normalised value is (value - min) / (max - min) in double. Where the axis has no range it is the axis minimum
 * itself, and 0 on a decibel axis; these differ on purpose. It is limited to +-1000000 and scaled to the rectangle; 0.5
 * is added, and the sum is cut towards zero (to -2147483648 where 32 bits do not hold it, and for a NaN). The left edge
 * is added to that, or it is taken from the bottom edge, in wrapping 32-bit arithmetic, and the coordinate is limited
 * to +32767 and -32768. Logarithms are single-precision approximations, to 1.23e-4. On a logarithmic axis a value that
 * is not above 0 counts as the axis minimum; on a decibel axis a value of 0 or below counts as -400 dB.
 *
 * @param params  in, one record. pixelX, pixelY and valid are written in this order.
 */
KXCALC_API void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params);

/**
 * Finds the pixel nearest to a cursor whose value is not in a list of values to ignore.
 *
 * Distances are compared as squares in single. The columns from the last multiple of four of the width on (the tail)
 * are measured and reported as if the row began there. Before that, a row is taken in blocks of four columns, x0 to x0
 * + 3: the column distance is cursorX - column, but one less (so one further away to the right) in the second column if
 * cursorX < x0, and in the fourth if cursorX < x0 + 2. All this is intended and kept. Of pixels at one distance the one
 * in the lowest row is reported; within a row blocks come before the tail, and within the blocks the lowest column
 * modulo four, then the highest column.
 *
 * @param image         in, height rows of width pixels; row k starts k * (pitch / 4) pixels below image, so with a
 *                      positive pitch rows lie at descending addresses. Aligned to 4 bytes. Pixels that cannot win are
 *                      not all read.
 * @param pitch         bytes from one row to the next, in the direction of descending addresses.
 * @param width         pixels in a row; below 1 nothing is found.
 * @param height        number of rows; below 1 nothing is found.
 * @param cursorX       cursor column.
 * @param cursorY       cursor row.
 * @param foundValue    in/out, one number: receives the value of the pixel; untouched where nothing is found.
 * @param foundX        in/out, one number: receives its column, in the tail its distance from the start of the tail;
 *                      untouched where nothing is found.
 * @param foundY        in/out, one number: receives its row; untouched where nothing is found.
 * @param ignoreValues  in, ignoreCount values, aligned to 4 bytes.
 * @param ignoreCount   number of values to ignore. 0: none is ignored. Below 0: nothing is found.
 */
KXCALC_API void kxcalcFindCursorXY(const uint32_t* image, int32_t pitch, int32_t width, int32_t height,
                                   uint32_t cursorX, uint32_t cursorY, uint32_t* foundValue, uint32_t* foundX,
                                   uint32_t* foundY, const uint32_t* ignoreValues, int32_t ignoreCount);

/* ---------------------------------------------------------------------------------------------- Sine and arctangent */

/**
 * Sines of a block of singles in radians.
 *
 * 1 to 3 elements: the platform's sine in double, rounded to single. 4 elements or more: a single-precision
 * approximation (S. L. Moshier, Cephes, 1989) within 8e-8 of the true sine up to a magnitude of 8192 (0.81 units in the
 * last place up to pi/4), which degrades slowly beyond. Nothing is checked: from 1.6e9 on results are meaningless. A
 * NaN or an infinity gives a NaN, +-0 gives itself.
 *
 * @param input   in, count singles, aligned to 4 bytes.
 * @param output  out, count singles, aligned to 4 bytes. Does not overlap input.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcSin_float(const float* input, float* output, uint32_t count);

/**
 * Arctangents of a block of singles, in radians: but of 1 to 3 elements SINES, as kxcalcSin_float gives them. This is
 * part of the interface and kept.
 *
 * 4 elements or more: a single-precision approximation (S. L. Moshier, Cephes, 1989) within 1.1e-7 of the true
 * arctangent, 1.02 units in the last place, over the whole range. Infinities give +-pi/2, a NaN a NaN.
 *
 * @param input   in, count singles, aligned to 4 bytes.
 * @param output  out, count singles, aligned to 4 bytes. Does not overlap input.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcATan_float(const float* input, float* output, uint32_t count);

#ifdef __cplusplus
}
#endif

#endif
