/*
 * kxcalc: numeric kernels for measurement hosts. Interface version 2.17.
 *
 * Stateless functions over caller-owned buffers. What holds for all of them:
 *
 *   Counts      are numbers of elements, never bytes. Strides are in elements.
 *   Alignment   Every buffer is aligned to the size of its element (1, 2, 4 or 8 bytes). No buffer needs more, except
 *               where a function says so. Speed is best at 16 bytes; results are the same at every alignment, except
 *               where a function says so.
 *   Overlap     Buffers of one call do not overlap, and its out-parameters are distinct from one another and from the
 *               elements of its buffers, except where a function says so.
 *   Access      A function reads and writes nothing outside the elements that it names: a buffer may end (or begin) at
 *               an inaccessible page.
 *   Errors      Except for the interpolator, there are no error codes and no argument checks. A null pointer, a buffer
 *               shorter than its count, or a count that a function excludes is undefined behaviour.
 *   Threads     No shared state. Any number of threads may call anything at once, as long as nothing that one call
 *               writes is read or written by another call at the same time.
 *   Arithmetic  is IEEE 754, round to nearest, each operation rounded to the precision named, never fused. Results are
 *               the same bits on every processor and with every compiler; no function is an exception. The one thing
 *               not promised is which NaN (sign, payload) comes out of arithmetic on NaNs. No floating-point exception
 *               flag is read, and the control register is not written; the functions expect it at its default (round to
 *               nearest, denormals honoured). A host that has denormals flushed to zero gets the same results where
 *               none occur; where one does, it counts as zero. A host that has another direction of rounding gets
 *               results rounded that way, or rounded otherwise where the arithmetic relies on the nearest.
 *   Two forms   Many functions treat a few elements, or the rest after whole blocks, otherwise than whole blocks: they
 *               round, limit or add in another order. Where two forms of a function differ, the difference is part of
 *               its contract, and the same in every build.
 *   Names       begin with kxcalc; three begin with kxCalc: kxCalcCACopyRawDataToChannels, kxCalcCAOverallPressure and
 *               kxCalcCARunningVal. Who looks names up in a library must spell them so.
 *   Records     are laid out alike by every compiler; the table at the end gives the offset and size of each field.
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

/*
 * Readers of headers that know plain C only, such as MATLAB's loadlibrary and LabVIEW's import of shared libraries,
 * define KXCALC_NO_ATTRIBUTES: what they read then holds no attributes. Their fields lie where they lie otherwise.
 */
#if defined(KXCALC_NO_ATTRIBUTES)
#define KXCALC_API
#elif defined(_WIN32)
#if defined(KXCALC_BUILDING)
#define KXCALC_API __declspec(dllexport)
#else
#define KXCALC_API __declspec(dllimport)
#endif
#else
#define KXCALC_API __attribute__((visibility("default")))
#endif

/* A double in a record lies at a multiple of 8 on every platform; 32-bit x86 would take 4. */
#if defined(__GNUC__) && !defined(KXCALC_NO_ATTRIBUTES)
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
 * The three results are written in the order major, minor, flag, and may share a place.
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

/* -------------------------------------------------------------------------------- Minimum, maximum, average and RMS */

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
  uint32_t bufferLength;    /**< length of the ring of input samples, a power of two. Blocks hold three samples less. */
} CHSInterpolatorParams;

/** Results of the interpolator functions. The first that applies, in the order that each function gives. */
enum {
  KXCALC_SUCCESS = 0,
  KXCALC_INVALID_ARGUMENT = 1, /**< no handle or record, no samples, a rate not above 0; outputs too many; no memory. */
  KXCALC_BLOCK_TOO_LONG = 2,   /**< a block of more than bufferLength - 2 samples. */
  KXCALC_STOPPED = 3,          /**< the stream has ended: reset it first. */
  KXCALC_BUFFER_LENGTH = 4     /**< bufferLength is 0 or not a power of two. */
};

/**
 * Creates an interpolator: a cubic Hermite spline with Catmull-Rom tangents (half the difference of the two
 * neighbours), after E. Catmull and R. Rom, "A class of local interpolating splines", 1974.
 *
 * Output k of a stream lies at input position k / ratio, the ratio being outputRate / inputRate; output 0 is the first
 * input sample. This is the one function that allocates. A rate that is a NaN, or rates whose quotient is not finite,
 * give an object that delivers no outputs.
 *
 * @param handleOut  out, one handle: the new interpolator on success; null where the outputs are too many or memory is
 *                   short; else untouched.
 * @param params     in, one record.
 * @return           KXCALC_INVALID_ARGUMENT if params is null, inputRate is not above 0, outputRate is not above 0 (in
 *                   this order); KXCALC_BUFFER_LENGTH if bufferLength is 0 or no power of two; KXCALC_INVALID_ARGUMENT
 *                   if the array of outputs, ratio * (bufferLength + 1) + 2 of them, would hold 2^32 values or more, or
 *                   if memory is short, with nothing left behind; else KXCALC_SUCCESS.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Create(CHSInterpolator** handleOut, const CHSInterpolatorParams* params);

/**
 * Feeds the next block of a stream and delivers all outputs that the samples fed so far allow: those up to the last
 * sample but one. The first block of a stream holds at least 2 samples; a first block of 1 delivers none.
 *
 * - Feed blocks of at most bufferLength - 3 samples. One of bufferLength - 2 is accepted too, but unless it is the
 *   first of its stream its last sample takes the place of the sample before the segment that is continued, and outputs
 *   in that segment are wrong.
 * - Each call forms its positions anew: output i of a call lies at i / ratio + base, where base is the number of
 *   outputs delivered before, divided by ratio, all in double. So the last bits of outputs depend on how a stream is
 *   split into blocks, unless the ratio is a power of two.
 * - From input position 2^31 on the place between two samples is not told any more, and outputs mean nothing. Reset the
 *   stream before that: after 12 hours at 48000 samples a second.
 * - An output that lies exactly on the last sample but one weighs the place after the last sample with 0. Where that
 *   place, which is 0 in a new interpolator, holds an infinity or a NaN of bufferLength samples ago, the output is a
 *   NaN.
 *
 * @param handle     an open interpolator.
 * @param input      in, count singles, aligned to 4 bytes.
 * @param count      number of samples, 1 to bufferLength - 3. 0 is refused, and so is what is above bufferLength - 2,
 *                   which wraps for a bufferLength of 1: it refuses no block, and 2 refuses all.
 * @param valuesOut  out, one pointer: receives the outputs, which belong to the interpolator and stay until its next
 *                   call.
 * @param countOut   out, one number: receives the number of outputs.
 * @return           KXCALC_INVALID_ARGUMENT if count is 0 or handle null; KXCALC_BLOCK_TOO_LONG; KXCALC_STOPPED if the
 *                   stream has ended (in this order, with nothing changed and nothing written); else KXCALC_SUCCESS.
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
 * @return           KXCALC_INVALID_ARGUMENT if handle is null; KXCALC_STOPPED if the stream has ended before; else
 *                   KXCALC_SUCCESS.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Stop(CHSInterpolator* handle, const float** valuesOut, uint32_t* countOut);

/**
 * Makes an interpolator, open or stopped, ready for a new stream with the same rates.
 *
 * The ring keeps the samples of the old stream until new ones take their places. They enter outputs with weight 0 only
 * (see kxcalcCHSInterpolator_InterpolateValues), but that makes a NaN of an infinity or a NaN: after a stream that held
 * such samples destroy the interpolator and create another.
 * @param handle  an interpolator.
 * @return        KXCALC_INVALID_ARGUMENT if handle is null, else KXCALC_SUCCESS.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Reset(CHSInterpolator* handle);

/**
 * Frees an interpolator and its outputs.
 *
 * @param handle  an interpolator; not to be used again.
 * @return        KXCALC_INVALID_ARGUMENT if handle is null, else KXCALC_SUCCESS.
 */
KXCALC_API uint32_t kxcalcCHSInterpolator_Destroy(CHSInterpolator* handle);

/* ---------------------------------------------------------------------------------------------------------- Display */

/** Where X of a point comes from (xSource). Any other value means xMin. */
enum {
  KXCALC_X_INDEX = 0,        /**< xIndex. */
  KXCALC_X_VALUES = 1,       /**< xValues[xIndex]. */
  KXCALC_X_SCALED_INDEX = 2, /**< xIndex * xScale + xOffset. */
  KXCALC_X_MINIMUM = 3       /**< xMin. */
};

/** Axis modes (xAxisMode, yAxisMode). */
enum {
  KXCALC_AXIS_LINEAR = 0,
  KXCALC_AXIS_LOGARITHMIC = 1,
  KXCALC_AXIS_NORMALISED = 2, /**< X only, as any higher value: X is the normalised value itself. */
  KXCALC_AXIS_DECIBEL = 2     /**< Y only, as any higher value. */
};

/**
 * One point of a channel, the axes of a graph, and where the pixel goes. The fields lie at their natural alignment,
 * doubles at multiples of 8 on every platform: xIndex 8 bytes in, the rectangle 16 (three bytes of gap follow
 * yAxisMode), the first double 24, the first pointer 128.
 */
typedef struct XYValGraph2DParams {
  uint8_t reserved[5]; /**< not read. */
  uint8_t xSource;     /**< KXCALC_X_INDEX to KXCALC_X_MINIMUM. */
  uint8_t yType;       /**< type of the Y sample: KXCALC_SINGLE, or any other value for a double. */
  uint8_t xAxisMode;   /**< KXCALC_AXIS_LINEAR, _LOGARITHMIC or _NORMALISED. */
  uint32_t xIndex;     /**< sample index of the point. */
  uint8_t yAxisMode;   /**< KXCALC_AXIS_LINEAR, _LOGARITHMIC or _DECIBEL. */
  uint8_t gap[3];      /**< not read. */
  int16_t left;        /**< plot rectangle in pixels; Y pixels grow downwards. */
  int16_t top;         /**< the pixel of the Y axis maximum. */
  int16_t right;
  int16_t bottom;       /**< the pixel of the Y axis minimum. */
  kxcalc_double xScale; /**< for KXCALC_X_SCALED_INDEX. */
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
  const double* xValues;     /**< in, for KXCALC_X_VALUES: X of each sample index. */
  int32_t* pixelX;           /**< out, one number: receives the X pixel. */
  int32_t* pixelY;           /**< out, one number: receives the Y pixel. */
  int32_t* valid;            /**< out, one number: receives 1. */
} XYValGraph2DParams;

/**
 * Places a point of a channel on the pixel grid of a graph with linear, logarithmic or (Y) decibel axes.
 *
 * The normalised value is (value - min) / (max - min) in double. Where an axis has no range (maximum and minimum are
 * equal) it is the axis minimum itself, as if that were a fraction of the axis, but on a decibel axis 0, which is the
 * bottom edge. It is limited to +-1000000 and scaled to the rectangle; 0.5 is added, and the sum is cut towards zero
 * (to -2147483648 where 32 bits do not hold it, and for a NaN). The left edge is added to that, or it is taken from the
 * bottom edge, in wrapping 32-bit arithmetic, and the coordinate is limited to +32767 and -32768. Logarithms are
 * single-precision approximations, to 1.23e-4. On a logarithmic axis a value that is not above 0, or is a NaN, counts
 * as the axis minimum; on a decibel axis a value of 0 or below counts as -400 dB, and a NaN, whose bits the
 * approximation reads as a number above 2^128, as 770 to 777 dB.
 *
 * @param params  in, one record. pixelX, pixelY and valid are written in this order.
 */
KXCALC_API void kxcalcGetXYValGraph2D(const XYValGraph2DParams* params);

/**
 * Finds the pixel nearest to a cursor whose value is not in a list of values to ignore.
 *
 * Distances are compared as squares in single. A row is taken in blocks of four columns, x0 to x0 + 3, and the up to
 * three columns after the last whole block are its tail; the two are measured differently:
 * - Blocks: the column distance is cursorX - column, but one less (so one further away to the right) in the second
 *   column if cursorX < x0, and in the fourth if cursorX < x0 + 2: columns are subtracted in pairs, with a borrow
 *   between them. The square of the row distance is a product of 32 bits: from 2^31 on, that is from 46341 rows on, it
 *   wraps, and far rows may count as near.
 * - Tail: columns are measured and reported as if the row began with the tail: the first one as column 0. Squares do
 *   not wrap.
 * Rows whose width is a multiple of four have no tail: fill others up with a value to ignore.
 *
 * Of pixels at one distance the one in the lowest row is reported; within a row blocks come before the tail, and within
 * the blocks the lowest column modulo four, then the highest column.
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

/* -------------------------------------------------------------------------------------------------- Digital filters */

/** Filter types (filterType). Any other value means the general form. */
enum {
  KXCALC_GENERAL_SECTIONS = 0,     /**< sections of order sectionOrder. */
  KXCALC_SECOND_ORDER_SECTIONS = 3 /**< sections of three taps, whatever sectionOrder says. */
};

/**
 * A cascade of recursive (IIR) sections. The caller designs it, lays it out, zeroes every tap's x and y, and then
 * passes the samples in order, one a call; the record holds the whole history. The record itself is only read. Changed
 * coefficients hold from the next sample on, without disturbing the history.
 *
 * A tap is four doubles: x (the section's input at that delay, after the gain), y (the section's output at that delay),
 * b (feed-forward coefficient), a (feedback coefficient, with the sign that the denominator 1 + a1 z^-1 + ... gives it:
 * it is subtracted). A section holds its taps from the oldest delay to the current sample; the a of the current one is
 * not read. So a section of order 2 is x2 y2 b2 a2, x1 y1 b1 a1, x0 y0 b0 and one unused double.
 */
typedef struct IIRFilterState {
  int32_t filterType;         /**< KXCALC_GENERAL_SECTIONS or KXCALC_SECOND_ORDER_SECTIONS. */
  int32_t sectionCount;       /**< sections in the cascade; below 1: the sample is returned as it is. */
  int32_t sectionOrder;       /**< general form: order N of every section, which has N + 1 taps; below 0 counts as 0. */
  int32_t reserved;           /**< neither read nor written. */
  const double* sectionGains; /**< in, sectionCount gains, one a section. */
  double* sectionTaps;        /**< in/out, the taps of all sections, section after section, aligned to 16 bytes. */
} IIRFilterState;

/**
 * One sample through a cascade of IIR sections, in single; all arithmetic is in double, the result is rounded to
 * single.
 *
 * Each section: the delays move on by one, x = input * gain, then
 * - general form: y = sum over the taps, the oldest first, of (x b - y a), each difference formed first, from 0, then +
 *   x0 b0. A NaN goes on.
 * - second-order sections: y = ((x2 b2 + x1 b1) - (y2 a2 + y1 a1)) + x0 b0, in this grouping, which rounds otherwise. A
 *   NaN becomes +1e10.
 *
 * y is limited to +-1e10, stored, and the input of the next section.
 *
 * @param state   in/out, one record: the taps change.
 * @param sample  the next sample.
 * @return        the filtered sample.
 */
KXCALC_API float kxcalcIIRFilter_float(const IIRFilterState* state, float sample);

/**
 * One sample through a cascade of IIR sections, in double: kxcalcIIRFilter_float without its conversions.
 *
 * @param state   in/out, one record: the taps change.
 * @param sample  the next sample.
 * @return        the filtered sample.
 */
KXCALC_API double kxcalcIIRFilter_double(const IIRFilterState* state, double sample);

/** State of a pink-noise filter. Zeroed to start. */
typedef struct PinkFilterState {
  kxcalc_double b0; /**< b0 to b5: states of six first-order sections. */
  kxcalc_double b1;
  kxcalc_double b2;
  kxcalc_double b3;
  kxcalc_double b4;
  kxcalc_double b5;
  kxcalc_double b6; /**< b6 and b7: the last values of two direct terms, written only. */
  kxcalc_double b7;
} PinkFilterState;

/**
 * One sample of white noise to one of pink noise, whose power falls by 3 dB an octave: a weighted sum of first-order
 * low-pass sections (P. Kellet's refined approximation, with a factor of 0.2 at the input).
 *
 * At 44100 Hz the gain is 16.42 dB at 20 Hz and -0.54 dB at 1 kHz, within 0.05 dB of the ideal slope up to 2 kHz, 0.15
 * dB to 10 kHz and 1 dB to 22 kHz: the term b6, which the published filter delays by a sample, is not delayed.
 *
 * @param state   in/out, one record.
 * @param sample  the next sample of white noise.
 * @return        the sample of pink noise.
 */
KXCALC_API double kxcalcPinkFilter_double(PinkFilterState* state, double sample);

/**
 * One output of a FIR filter whose delay line is a ring: the sum over k of coefficients[k] * ring[(position + k) mod
 * length], in single. Nothing is written; the caller moves samples and position, and so decides whether coefficient 0
 * weighs the newest or the oldest sample.
 *
 * The order of additions: blocks of four products go to four lane sums V, all others to one sum S, in index order. Up
 * to the ring's end the blocks begin at coefficient 0. From the ring's start they begin where the coefficients reach a
 * 16-byte boundary; a rest of up to 3 products has none. The result is ((V0 + V1) + (V2 + V3)) + S.
 *
 * @param ring          in, length samples, aligned to 4 bytes.
 * @param coefficients  in, length coefficients, aligned to 16 bytes.
 * @param length        number of taps, below 2^31. 0 (with position 0) gives 0.
 * @param position      index of the ring's sample that coefficient 0 weighs, 0 to length.
 * @return              the output.
 */
KXCALC_API float kxcalcFIRFilter_float(const float* ring, const float* coefficients, uint32_t length,
                                       uint32_t position);

/* ---------------------------------------------------------------------------------------------- Combustion analysis */

/**
 * Weighted sum of the latest 16-bit samples, in single: the sum over k of newest[-k] * weights[k * stride].
 *
 * The order of additions: up to 7 samples one by one, the newest first, from 0. From 8 on in four lanes, from 0, the
 * oldest sample first, groups of four taking lanes 0 to 3: the head (a whole block where the oldest sample lies on a
 * 16-byte boundary), the blocks of the body, the tail; then (lane0 + lane2) + (lane1 + lane3). Head and tail are whole
 * blocks at the two ends of the window, the tail at the last positions of its block, whose other samples are multiplied
 * by 0. So the last bits depend on the alignment of the samples.
 *
 * @param newest   in, the newest sample: the window is newest[-(count - 1)] to newest[0], aligned to 2 bytes.
 * @param count    number of samples. 0 gives 0.
 * @param weights  in, (count - 1) * stride + 1 singles, aligned to 4 bytes: weight k, of the sample k back, is at k *
 *                 stride.
 * @param stride   elements from one weight to the next.
 * @return         the sum.
 */
KXCALC_API float kxcalcCACalcFilter_int16_t(const int16_t* newest, uint32_t count, const float* weights,
                                            uint32_t stride);

/**
 * Weighted sum of the latest singles: the sum over k of newest[-k] * weights[k * stride], in single.
 *
 * The order of additions: up to 3 samples one by one, the newest first, from 0. From 4 on in four lanes, from 0, the
 * oldest sample first: the head (a whole block where the oldest sample lies on a 16-byte boundary), the blocks of the
 * body, the tail; then (lane0 + lane2) + (lane1 + lane3). Head and tail are whole blocks at the two ends of the window,
 * the tail at the last positions of its block, whose other samples are multiplied by 0: an infinite one makes the sum a
 * NaN. So the last bits depend on the alignment of the samples.
 *
 * @param newest   in, the newest sample: the window is newest[-(count - 1)] to newest[0], aligned to 4 bytes.
 * @param count    number of samples. 0 gives 0.
 * @param weights  in, (count - 1) * stride + 1 singles, aligned to 4 bytes: weight k, of the sample k back, is at k *
 *                 stride.
 * @param stride   elements from one weight to the next.
 * @return         the sum.
 */
KXCALC_API float kxcalcCACalcFilter_float(const float* newest, uint32_t count, const float* weights, uint32_t stride);

/**
 * Weighted sum of the latest 32-bit samples, in single: kxcalcCACalcFilter_float, each sample first rounded to single.
 *
 * @param newest   in, the newest sample: the window is newest[-(count - 1)] to newest[0], aligned to 4 bytes.
 * @param count    number of samples. 0 gives 0.
 * @param weights  in, (count - 1) * stride + 1 singles, aligned to 4 bytes: weight k, of the sample k back, is at k *
 *                 stride.
 * @param stride   elements from one weight to the next.
 * @return         the sum.
 */
KXCALC_API float kxcalcCACalcFilter_int32_t(const int32_t* newest, uint32_t count, const float* weights,
                                            uint32_t stride);

/**
 * Centred moving average of a block of doubles.
 *
 * With W the width rounded up to odd and h = (W - 1) / 2: outputs 0 to h are the mean of inputs 0 to W - 1, formed as m
 * = (m * i + input[i]) / (i + 1) from m = input[0]. Each later output up to count - 1 - h moves the mean before it: m =
 * ((m * W + input[j + h]) - input[j - h - 1]) / W, so rounding errors carry along. The last h outputs repeat the last
 * mean.
 *
 * @param input   in, count doubles, at least W, aligned to 8 bytes: the first W are always read.
 * @param output  out, count doubles, aligned to 8 bytes. Does not overlap input.
 * @param width   samples to average, 0 to 65535; 0 counts as 1.
 * @param count   number of elements, above h. Count 0 is excluded (there is no guard).
 */
KXCALC_API void kxcalcCACalcAveFilter_double(const double* input, double* output, uint16_t width, uint32_t count);

/**
 * Copies raw samples less an offset into a channel, and finds the peak: the largest difference above 1.17549435e-38,
 * the smallest normal single.
 *
 * Of equal maxima, up to three samples report the first. From four samples on it is the first of each lane (samples
 * start + lane, and every fourth after it; a lane that begins with a NaN has no other), and of the lanes the lowest,
 * before the samples after the last whole block of four. Indexes are then carried as singles, exact up to 16777216.
 *
 * @param raw        in: raw[start] to raw[end - 1] are read, aligned to 4 bytes.
 * @param channel    out, end - start singles, aligned to 4 bytes: element i receives raw[start + i] - offset. Does not
 *                   overlap raw.
 * @param start      index of the first raw sample.
 * @param end        one past the index of the last, at least start. Equal to start: nothing is copied, no peak is
 *                   found.
 * @param offset     subtracted from each sample.
 * @param peakValue  out, one single: receives the peak, or 1.17549435e-38 where none is found.
 * @param peakIndex  out, one number: receives the raw index of the peak, or 0xFFFFFFFF where none is found.
 */
KXCALC_API void kxCalcCACopyRawDataToChannels(const float* raw, float* channel, uint32_t start, uint32_t end,
                                              float offset, float* peakValue, uint32_t* peakIndex);

/**
 * Rounds an array of doubles to singles, packed at the start of the same buffer. What is beyond the singles' range
 * becomes infinite.
 *
 * @param buffer  in: count doubles; out: count singles. Aligned to 16 bytes. Bytes from 4 * count on stay as they are.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcCADoubleArrToSingleArrInplace(void* buffer, uint32_t count);

/**
 * Widens an array of singles to doubles (exact) in the same buffer, which they fill.
 *
 * @param buffer  in: count singles, at its start; out: count doubles. Aligned to 16 bytes, 8 * count bytes long.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcCASingleArrToDoubleArrInplace(void* buffer, uint32_t count);

/**
 * Coordinates of one axis of a pressure-volume diagram: input * scale + offset in single, rounded to an integer and
 * limited to [lower, upper]. A coordinate that is a NaN or that 32 bits do not hold, a huge positive one too, counts as
 * -2147483648.
 *
 * The two forms differ. Up to 3 values: halfway cases are rounded away from zero, and with lower above upper the result
 * is upper. From 4 on: to the even integer, and lower.
 *
 * @param input   in, count singles, aligned to 4 bytes.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 * @param output  out, count coordinates, aligned to 4 bytes. Does not overlap input.
 * @param lower   the least coordinate.
 * @param upper   the largest coordinate.
 * @param scale   coordinates per unit.
 * @param offset  coordinate of 0.
 */
KXCALC_API void kxcalcCAPV_lin(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                               float scale, float offset);

/**
 * The same for a logarithmic axis: of log10(input / reference), by an approximation to 1.23e-4. A ratio below 1e-9
 * counts as 1e-9.
 *
 * The two forms differ as in kxcalcCAPV_lin; besides, a NaN ratio stays one up to 3 values, and counts as 1e-9 from 4
 * on, and the approximation is divided out in double or in single.
 *
 * @param input      in, count singles, aligned to 4 bytes.
 * @param count      number of elements. 0 returns at once: nothing is read or written.
 * @param output     out, count coordinates, aligned to 4 bytes. Does not overlap input.
 * @param lower      the least coordinate.
 * @param upper      the largest coordinate.
 * @param scale      coordinates per decade.
 * @param offset     coordinate of the reference.
 * @param reference  the value at the offset; not 0.
 */
KXCALC_API void kxcalcCAPV_log(const float* input, uint32_t count, int32_t* output, int32_t lower, int32_t upper,
                               float scale, float offset, float reference);

/**
 * Folds a cycle into the average curve of all cycles so far, in place, and finds the peak of the new average.
 *
 * With n cycles averaged before: average = (newCycle + average * n) / (n + 1). Whole blocks of four, from element 0,
 * are computed in double and rounded to single; the up to 3 elements after them in single, with n and n + 1 (of 64
 * bits) rounded to single. The peak is never below 1.17549435e-38, the smallest normal single. In the blocks it is
 * gathered in four lanes, lane = greater(lane, average), combined as greater(greater(lane0, lane2), greater(lane1,
 * lane3)); a later element replaces it if it is greater.
 *
 * @param newCycle  in, end - start singles, aligned to 4 bytes.
 * @param average   in/out, end - start singles, aligned to 4 bytes. Does not overlap newCycle.
 * @param start     only the difference to end matters: both arrays begin at the element that start names.
 * @param end       at least start. Equal to it: only the peak is written.
 * @param cycles    cycles averaged so far. 0: the average becomes the new cycle, for finite averages.
 * @param peak      out, one single: receives the peak.
 */
KXCALC_API void kxCalcCAOverallPressure(const float* newCycle, float* average, uint32_t start, uint32_t end,
                                        uint64_t cycles, float* peak);

/**
 * Running average over the latest cycles: a sum of cycles, and the sum divided, element by element, in single.
 *
 * - cycles is 0: sum and average become the new cycle.
 * - cycles is below window: sum = newCycle + sum, divided by cycles, but by cycles + 1 in the up to 3 elements after
 *   the last whole block of four. So while the window fills, averages in blocks are too large, by a factor of (cycles +
 *   1) / cycles.
 * - otherwise: sum = (sum + newCycle) - leavingCycle, but (newCycle - leavingCycle) + sum in the elements after the
 *   last whole block, divided by window.
 *
 * @param newCycle      in, last - first + 1 singles, aligned to 4 bytes.
 * @param leavingCycle  in, as many: the cycle that leaves the window. Read only if cycles is window or more.
 * @param sum           in/out, as many.
 * @param average       out, as many. None of the four overlap.
 * @param first         only the difference to last matters: all arrays begin at the element that first names.
 * @param last          index of the last element, at least first - 1 (which makes 0 elements).
 * @param cycles        cycles seen before this one.
 * @param window        length of the window in cycles. 0 divides by zero once cycles is above 0.
 */
KXCALC_API void kxCalcCARunningVal(const float* newCycle, const float* leavingCycle, float* sum, float* average,
                                   uint32_t first, uint32_t last, uint64_t cycles, uint32_t window);

/* --------------------------------------------------------------------------------------------------- Power analysis */

/** A ring of samples and a bank of filters of 16 taps. */
typedef struct PowerFirArgs {
  const float* ring;         /**< in, length samples, aligned to 4 bytes. */
  const float* coefficients; /**< in, rows of 16, aligned to 16 bytes; the last of a row weighs the newest sample. */
  uint32_t position;         /**< index in the ring one past the newest sample, 0 to length. */
  uint32_t row;              /**< the row of coefficients to use. */
  uint32_t length;           /**< samples in the ring, at least 16. */
} PowerFirArgs;

/**
 * One output of a FIR filter of 16 taps over the latest samples of a ring, in single.
 *
 * Samples that lie in a row are added in four lanes, Lk = (products[8 + k] + products[12 + k]) + (products[k] +
 * products[4 + k]), and (L0 + L1) + (L2 + L3); samples that wrap around the ring's end one by one, the oldest first. So
 * one window of samples may give two sums, which differ in their last bits.
 *
 * @param args  in, one record. Nothing is written.
 * @return      the output.
 */
KXCALC_API float kxcalcPowerCalcFIR_float(const PowerFirArgs* args);

/** A block of doubles to scale to singles. */
typedef struct PowerScaleArgs {
  const double* input; /**< in, count doubles, aligned to 8 bytes. */
  float* output;       /**< out, count singles, aligned to 4 bytes. Does not overlap input. */
  kxcalc_double sum;   /**< in/out: sum of the outputs' magnitudes, added to. Untouched if accumulate is 0. */
  float scale;         /**< factor. */
  int32_t count;       /**< number of elements; below 1 counts as 0. */
  uint32_t accumulate; /**< other than 0: add the magnitudes to sum. */
} PowerScaleArgs;

/**
 * Scales doubles to singles: output = scale * input in double, rounded to single; and, if accumulate is set, adds the
 * outputs' magnitudes to the sum: they are added in ascending order in double, from 0, and then the sum so far to that.
 *
 * @param args  in/out, one record: its sum may change.
 */
KXCALC_API void kxcalcPowerSumVectorMultipliedWithScalar_double(PowerScaleArgs* args);

/**
 * Sum of the squares of scaled singles: each value * scale is rounded to single; the squares are exact in double and
 * added in ascending order.
 *
 * @param values  in, count singles, aligned to 4 bytes.
 * @param count   number of elements. 0 gives 0. Read as an unsigned number.
 * @param scale   factor.
 * @return        the sum.
 */
KXCALC_API double kxcalcPowerMultiplyAndSquareElementsAndSumVector_float(const float* values, int32_t count,
                                                                         float scale);

/**
 * Multiplies a complex spectrum bin by bin by a complex correction, in place, in single: (sr cr - si ci) and (sr ci +
 * si cr), each product and sum rounded. Spectra here and below hold bins as pairs: bin k at elements 2k and 2k + 1.
 *
 * @param spectrum    in/out, 2 * binCount singles, aligned to 4 bytes.
 * @param correction  in, as many. May overlap spectrum: results are those of the loop over the bins in ascending order.
 * @param binCount    number of bins. Below 1 nothing is read or written.
 */
KXCALC_API void kxcalcPowerCorrectFFT_U(float* spectrum, const float* correction, int32_t binCount);

/**
 * Conjugates a complex spectrum in place: flips the sign bit of every odd element, of zeros and NaNs too.
 *
 * @param spectrum      in/out, elementCount singles, aligned to 4 bytes.
 * @param elementCount  number of singles, twice the number of bins; a last one without a partner stays. 0 and 1 change
 *                      nothing.
 */
KXCALC_API void kxcalcPowerNegateImag_float(float* spectrum, uint32_t elementCount);

/**
 * Index of the strongest bin of a complex spectrum, bin 0 apart: the lowest index of the largest re * re + im * im, in
 * single. NaNs never win.
 *
 * @param spectrum  in, 2 * binCount singles, aligned to 4 bytes.
 * @param binCount  number of bins.
 * @return          the index; 0 if there are less than two bins, or all from bin 1 on are zero (or square to zero).
 */
KXCALC_API uint32_t kxcalcPowerFindIndexOfMaxAmplitude(const float* spectrum, uint32_t binCount);

/**
 * Sum of the squared magnitudes of a run of bins: re * re + im * im in double, added in ascending order.
 *
 * @param spectrum  in, 2 * binCount singles, aligned to 4 bytes.
 * @param binCount  number of bins. 0 gives 0.
 * @return          the sum.
 */
KXCALC_API double kxcalcPowerHarmonicZero(const float* spectrum, uint32_t binCount);

/**
 * Active and reactive power of a voltage and a current spectrum: sums over the bins of ur ir + ui ii, and of ur ii - ui
 * ir, in double, in ascending order. The first bin (DC) and the last (Nyquist) count half. With spectra of bins scaled
 * to rms values P is the mean of u i; Q is positive for a leading current (conjugate both spectra for the usual sign).
 *
 * @param voltage        in, binCount bins (at least 2), aligned to 4 bytes.
 * @param current        in, as many.
 * @param binCount       number of bins. With 2 or less, 0 and negative numbers too, bins 0 and 1 are read, and count
 *                       half.
 * @param activePower    out, one double: overwritten.
 * @param reactivePower  out, one double: overwritten.
 */
KXCALC_API void kxcalcPowerPandQsum(const float* voltage, const float* current, int32_t binCount, double* activePower,
                                    double* reactivePower);

/**
 * Phase angles of the harmonic orders 1 to orderCount of a complex spectrum, in degrees.
 *
 * Order h lies at position h * binsPerOrder, between two bins whose angles are those of (real part as ordinate,
 * imaginary part as abscissa), 0 to 360. From the lower bin to the upper the angle grows, by up to 360 degrees; equal
 * angles grow by 360. The angle at the position, less h * phasePerOrder, is negated and wrapped towards the range -180
 * to 180 in fixed steps, which take its whole turns from a phase above 360 and do not negate it: 10 gives -10, but 370
 * gives 10. In single, except the angle of a bin: the arctangent in double, times 57.2957763671875 (180/pi as a
 * single), rounded to single, plus 360 if it is negative.
 *
 * @param spectrum       in, bins up to the one above orderCount * binsPerOrder, aligned to 4 bytes.
 * @param angles         out, angles[1] to angles[orderCount] receive the angles; angles[0] is not touched.
 * @param orderCount     the highest order. Below 1 nothing is read or written.
 * @param phasePerOrder  reference phase per order, degrees.
 * @param binsPerOrder   position of order 1 in bins, above 0.
 */
KXCALC_API void kxcalcPowerAngles(const float* spectrum, float* angles, int32_t orderCount, float phasePerOrder,
                                  float binsPerOrder);

/** Magnitudes and angles of three phases, entry by entry, and where the results go. */
typedef struct PowerUnbalanceArgs {
  const float* magnitudeL1;  /**< in, count magnitudes of phase 1 (at least 1), aligned to 4 bytes. */
  const float* magnitudeL2;  /**< in, as many. */
  const float* magnitudeL3;  /**< in, as many. */
  const float* angleL1;      /**< in, as many angles of phase 1, degrees. */
  const float* angleL2;      /**< in, as many. */
  const float* angleL3;      /**< in, as many. */
  float* zeroSequence;       /**< out, one single: sum of the entries' zero-sequence magnitudes. */
  float* positiveSequence;   /**< out, one single: of the positive-sequence ones. */
  float* negativeSequence;   /**< out, one single: of the negative-sequence ones. */
  float* negativeRatio;      /**< out, one single: negative sum to positive sum, percent; see below. */
  float* zeroRatio;          /**< out, one single: zero sum to positive sum, percent; see below. */
  float* negativeRatioFirst; /**< out, one single: the same ratios of entry 0 alone; see below. */
  float* zeroRatioFirst;     /**< out, one single. */
  uint32_t count;            /**< number of entries. Entry 0 is read even if there is none. */
} PowerUnbalanceArgs;

/**
 * Symmetrical components of a three-phase system (C. L. Fortescue, 1918), of a series of entries such as harmonic
 * orders: sums of the magnitudes of the three sequences over the entries, and their ratios to the positive one.
 *
 * The zero sequence of an entry is a third of the length of the three phasors' sum; the positive one turns phase 2 by
 * -120 degrees and phase 3 by -240 first, the negative one by -240 and -120. So the phases of a balanced system lie at
 * 0, +120 and +240 degrees: negate angles that count the other way. Entries in whole blocks of four from entry 0 are
 * computed in single, with an approximate sine and cosine (7.8e-8), the rest in double.
 *
 * @param args  in, one record. The sums are overwritten (0 for a count of 0). Ratios are left as they are where the
 *              positive sequence, of the sums or of entry 0, is not above 0.
 */
KXCALC_API void kxcalcPowerUnbalance(const PowerUnbalanceArgs* args);

/**
 * Coefficients and state of a flickermeter's signal path: nineteen arrays of doubles, aligned to 8 bytes. The caller
 * designs the filters for its sample rate. To start a measurement it zeroes the state arrays and writes -9999999 to
 * highPassInput[0]; the first sample then meets a high-pass filter that has settled on it.
 */
typedef struct FlickerState {
  double* lowPassInput;               /**< in/out, 3: latest input of low-pass sections 0, 1, 2. */
  double* lowPassInput1;              /**< in/out, 3: input one sample back (the latest, between calls). */
  double* lowPassInput2;              /**< in/out, 3: input two samples back. */
  double* lowPassOutput;              /**< in/out, 3: latest output. */
  double* lowPassOutput1;             /**< in/out, 3: output one sample back. */
  double* lowPassOutput2;             /**< in/out, 3: output two samples back. */
  const double* lowPassGain;          /**< in, 3: g. */
  const double* lowPassA1;            /**< in, 3: a1, subtracted. */
  const double* lowPassA2;            /**< in, 3: a2, subtracted. */
  const double* weightCoefficients;   /**< in, 12: w0 to w11, all added. */
  const double* highPassCoefficients; /**< in, 3: h0, h1, h2, all added. */
  double* weight1Output;              /**< in/out, 3: output of weighting section 1: latest, one back, two back. */
  double* weight1Input;               /**< in/out, 3: input, likewise; element 0 is neither read nor written. */
  double* weight2Input;               /**< in/out, 3: input of weighting section 2; element 0 likewise. */
  double* weight2Output;              /**< in/out, 3: output of weighting section 2: latest, one back, two back. */
  double* squareHistory;              /**< in/out, 2: second squarer: latest, one back. */
  double* smoothHistory;              /**< in/out, 2: smoothing filter: latest, one back. */
  double* highPassInput;              /**< in/out, 2: high-pass input: latest, or the start marker; one back. */
  double* highPassOutput;             /**< in/out, 2: high-pass output: latest, one back. */
} FlickerState;

/**
 * Instantaneous flicker sensation of a block of voltage samples, after IEC 61000-4-15. How a stream is split into
 * blocks has no effect.
 *
 * For each sample u, in double, with [r] for rounding to single:
 * - x = [u u 0.5], in single;
 * - three low-pass sections: y = ((x + (x1 + x1)) + x2) g - y1 a1 - y2 a2, the output of one being the input of the
 *   next; v = [the last output];
 * - high-pass: if the latest input equals the start marker, the input one back becomes v; y = v h0 + x1 h1 + y1 h2; t =
 *   [y];
 * - weighting: o = t w0 + x2 w1 + y1 w2 + y2 w3; then p = o w4 + x1 w5 + x2 w6 + y1 w7 + y2 w8;
 * - q = [p] [p], in single; m = q w9 + q1 w10 + m1 w11; sensation = [1238400 m].
 *
 * Numbers 1 and 2 stand for one and two samples back in that section; sums are formed from the left.
 *
 * @param state      in/out, one record: the arrays change, except the coefficients.
 * @param samples    in, count samples, aligned to 4 bytes.
 * @param sensation  out, count singles, aligned to 4 bytes. Does not overlap samples.
 * @param count      number of samples. 0 and below: nothing is read or written.
 */
KXCALC_API void kxcalcPowerFlicker(const FlickerState* state, const float* samples, float* sensation, int32_t count);

/**
 * Counts sensation values into 1000 classes, 100 a decade from 1e-4 to 1e6: class c holds those of (log10 v + 4) * 100
 * from c to below c + 1.
 *
 * Values from 1e6 on count in class 999; 0, negative ones and NaNs in class 0. So do values from 0.977e-4 to 1e-4; but
 * what is less than that, and above 0, counts in class 999, as a class number below zero does when it is read as
 * unsigned. Set such values to 0 first.
 *
 * @param values   in, count singles, aligned to 4 bytes.
 * @param count    number of values. 0 and below: nothing is read or written.
 * @param classes  in/out, 1000 counters, aligned to 4 bytes: added to, modulo 2^32.
 */
KXCALC_API void kxcalcPowerFlickerAddToClass(const float* values, int32_t count, uint32_t* classes);

/* ---------------------------------------------------------------------------------------------- Sine and arctangent */

/**
 * Sines of a block of singles in radians.
 *
 * 1 to 3 elements: the sine in double, rounded to single. 4 elements or more: a single-precision approximation (S. L.
 * Moshier, Cephes, 1989) within 8e-8 of the true sine up to a magnitude of 8192 (0.81 units in the last place up to
 * pi/4), which degrades slowly beyond. Nothing is checked: from 1.6e9 on results are meaningless. A NaN or an infinity
 * gives a NaN, +-0 gives itself.
 *
 * @param input   in, count singles, aligned to 4 bytes.
 * @param output  out, count singles, aligned to 4 bytes. Does not overlap input.
 * @param count   number of elements. 0 returns at once: nothing is read or written.
 */
KXCALC_API void kxcalcSin_float(const float* input, float* output, uint32_t count);

/**
 * Arctangents of a block of singles, in radians: but of 1 to 3 elements SINES, as kxcalcSin_float gives them. Fill
 * shorter blocks up to 4 elements for arctangents.
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

/* ------------------------------------------------------------------------------------------------ Layout of records */

/*
 * Offsets and sizes in bytes, with pointers of 32 bits and of 64. No record has a gap between two fields, so languages
 * that pack records (LabVIEW's clusters) or align doubles to 4 bytes (Python's ctypes on 32-bit x86 Linux) find each
 * field where it is. They may make a record shorter, which does no harm: no function takes an array of records, and
 * what lies behind a record's last field is not touched.
 *
 * Record, size                            32 bits           64 bits
 *   Field                                 offset  size      offset  size
 *
 * ChannelScaledValuesParams_float                   28                40
 *   source                                     0     4           0     8
 *   output                                     4     4           8     8
 *   scale                                      8     4          16     4
 *   offset                                    12     4          20     4
 *   count                                     16     4          24     4
 *   typeCode                                  20     4          28     4
 *   stride                                    24     4          32     4
 *
 * ChannelScaledValuesParams_double                  40                48
 *   source                                     0     4           0     8
 *   output                                     4     4           8     8
 *   scale                                      8     8          16     8
 *   offset                                    16     8          24     8
 *   count                                     24     4          32     4
 *   typeCode                                  28     4          36     4
 *   stride                                    32     4          40     4
 *
 * CHSInterpolatorParams                             24                24
 *   inputRate                                  0     8           0     8
 *   outputRate                                 8     8           8     8
 *   bufferLength                              16     4          16     4
 *
 * XYValGraph2DParams                               152               168
 *   reserved                                   0     5           0     5
 *   xSource                                    5     1           5     1
 *   yType                                      6     1           6     1
 *   xAxisMode                                  7     1           7     1
 *   xIndex                                     8     4           8     4
 *   yAxisMode                                 12     1          12     1
 *   gap                                       13     3          13     3
 *   left                                      16     2          16     2
 *   top                                       18     2          18     2
 *   right                                     20     2          20     2
 *   bottom                                    22     2          22     2
 *   xScale                                    24     8          24     8
 *   xOffset                                   32     8          32     8
 *   yScale                                    40     8          40     8
 *   yOffset                                   48     8          48     8
 *   xMax                                      56     8          56     8
 *   xMin                                      64     8          64     8
 *   xLogMax                                   72     8          72     8
 *   xLogMin                                   80     8          80     8
 *   yMax                                      88     8          88     8
 *   yMin                                      96     8          96     8
 *   yLogMax                                  104     8         104     8
 *   yLogMin                                  112     8         112     8
 *   dbReference                              120     8         120     8
 *   yValue                                   128     4         128     8
 *   xValues                                  132     4         136     8
 *   pixelX                                   136     4         144     8
 *   pixelY                                   140     4         152     8
 *   valid                                    144     4         160     8
 *
 * IIRFilterState                                    24                32
 *   filterType                                 0     4           0     4
 *   sectionCount                               4     4           4     4
 *   sectionOrder                               8     4           8     4
 *   reserved                                  12     4          12     4
 *   sectionGains                              16     4          16     8
 *   sectionTaps                               20     4          24     8
 *
 * PinkFilterState                                   64                64
 *   b0                                         0     8           0     8
 *   b1                                         8     8           8     8
 *   b2                                        16     8          16     8
 *   b3                                        24     8          24     8
 *   b4                                        32     8          32     8
 *   b5                                        40     8          40     8
 *   b6                                        48     8          48     8
 *   b7                                        56     8          56     8
 *
 * PowerFirArgs                                      20                32
 *   ring                                       0     4           0     8
 *   coefficients                               4     4           8     8
 *   position                                   8     4          16     4
 *   row                                       12     4          20     4
 *   length                                    16     4          24     4
 *
 * PowerScaleArgs                                    32                40
 *   input                                      0     4           0     8
 *   output                                     4     4           8     8
 *   sum                                        8     8          16     8
 *   scale                                     16     4          24     4
 *   count                                     20     4          28     4
 *   accumulate                                24     4          32     4
 *
 * PowerUnbalanceArgs                                56               112
 *   magnitudeL1                                0     4           0     8
 *   magnitudeL2                                4     4           8     8
 *   magnitudeL3                                8     4          16     8
 *   angleL1                                   12     4          24     8
 *   angleL2                                   16     4          32     8
 *   angleL3                                   20     4          40     8
 *   zeroSequence                              24     4          48     8
 *   positiveSequence                          28     4          56     8
 *   negativeSequence                          32     4          64     8
 *   negativeRatio                             36     4          72     8
 *   zeroRatio                                 40     4          80     8
 *   negativeRatioFirst                        44     4          88     8
 *   zeroRatioFirst                            48     4          96     8
 *   count                                     52     4         104     4
 *
 * FlickerState                                      76               152
 *   lowPassInput                               0     4           0     8
 *   lowPassInput1                              4     4           8     8
 *   lowPassInput2                              8     4          16     8
 *   lowPassOutput                             12     4          24     8
 *   lowPassOutput1                            16     4          32     8
 *   lowPassOutput2                            20     4          40     8
 *   lowPassGain                               24     4          48     8
 *   lowPassA1                                 28     4          56     8
 *   lowPassA2                                 32     4          64     8
 *   weightCoefficients                        36     4          72     8
 *   highPassCoefficients                      40     4          80     8
 *   weight1Output                             44     4          88     8
 *   weight1Input                              48     4          96     8
 *   weight2Input                              52     4         104     8
 *   weight2Output                             56     4         112     8
 *   squareHistory                             60     4         120     8
 *   smoothHistory                             64     4         128     8
 *   highPassInput                             68     4         136     8
 *   highPassOutput                            72     4         144     8
 */

#endif
