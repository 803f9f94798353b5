/*
 * kxcalc: numeric kernels for measurement hosts. Interface version 2.17.
 *
 * Stateless functions over caller-owned buffers. What holds for all of them:
 *
 *   Counts     are numbers of elements, never bytes. Strides are in elements.
 *   Alignment  Every buffer is aligned to the size of its element (2, 4 or 8 bytes). No buffer needs more. Speed is
 * best at 16 bytes; results are the same at every alignment except where a function says that it matters. Overlap
 * Buffers of one call do not overlap, and no out-parameter lies in a buffer, except where a function says so. Access A
 * function reads and writes exactly the elements that it names: a buffer may end (or begin) at an inaccessible page.
 *   Errors     There are no error codes and no argument checks. A null pointer, a buffer shorter than its count, or a
 *              count that a function excludes is undefined behaviour.
 *   Threads    No shared state. Any number of threads may call anything at once, as long as nothing that one call
 * writes is read or written by another call at the same time. Arithmetic is IEEE 754, round to nearest, each operation
 * rounded to the precision named, never fused. Results are the same bits on every processor and compiler. The one thing
 * not promised is which NaN (sign, payload) comes out of arithmetic on NaNs. No floating-point exception flag is read,
 * and the control register is not written; the functions expect it at its default (round to nearest, denormals
 * honoured). Calls      C linkage, the platform's C calling convention (cdecl on 32-bit Windows), names undecorated.
 * Nothing is thrown and nothing is allocated.
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

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------------------- Version
 */

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

/* ------------------------------------------------------------------------------------------------- Minimum and maximum
 */

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
 * and the maximum if it is greater. So a NaN at position 0 stays, later NaNs are ignored, and the first of equal values
 * is kept.
 * - 4 samples or more: four lanes start at data[0..3]. The aligned blocks of four of the body, then the last four
 * samples, are folded in: lane = lesser(lane, sample), and greater for the maximum. The lanes are then combined as
 *   lesser(lesser(lane0, lane2), lesser(lane1, lane3)). So a NaN takes over its lane and the next sample of that lane
 * replaces it again; it reaches the result only as the last value of a lane that is a second operand throughout. With
 * NaNs or with zeros of both signs the result depends on the alignment of data.
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
 * lane1). So a NaN takes over its lane and the next sample of that lane replaces it again; it reaches the result only
 * as the last value of lane 1. With NaNs or with zeros of both signs the result depends on the alignment of data.
 *
 * @param data     in, count samples, aligned to 8 bytes.
 * @param count    number of samples, at least 1. Count 0 is excluded (there is no guard).
 * @param minimum  out, one sample: receives the smallest.
 * @param maximum  out, one sample: receives the largest.
 */
KXCALC_API void kxcalcGetMinMax_double(const double* data, uint32_t count, double* minimum, double* maximum);

/* ------------------------------------------------------------------------------------ Minimum, maximum, average and
 * RMS */

/**
 * Statistics line of a block of singles: extremes, sum, and sum of squares about an offset.
 *
 * The caller divides: average = sum / samples, RMS = sqrt(sumOfSquares / samples); with rmsOffset = -average the latter
 * is the RMS of the alternating part. The sums are added onto what the caller passes, so that a statistic may span many
 * blocks.
 *
 * - 1 to 3 samples: the extremes are MERGED with the values passed in (strict comparisons: a NaN sample replaces
 * nothing, a NaN passed in stays), and q = double(sample + rmsOffset), the addition rounded to single.
 * - 4 samples or more: the extremes are those of this block alone, as kxcalcGetMinMax_float gives them, and OVERWRITE
 * the values passed in. Head and tail samples are added to the sums one at a time, with q as above. In the body q =
 * double(sample) + double(rmsOffset), and each sum is gathered in two partial sums, of the samples at even and at odd
 *   distance from the first 16-byte boundary, which are then added together and onto the total. So the last bits of
 * both sums depend on the alignment of data.
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
 * NaN passed in stays).
 * - 2 samples or more: the extremes are those of this block alone, as kxcalcGetMinMax_double gives them, and OVERWRITE
 * the values passed in. Head and tail samples are added to the sums one at a time; in the body each sum is gathered in
 * two partial sums, of the samples at even and at odd distance from the first 16-byte boundary, which are then added
 * together and onto the total. So the last bits of both sums depend on the alignment of data.
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
 * addition rounded to single.
 * - 8 samples or more: the extremes are those of this block alone and OVERWRITE the values passed in. Head and tail
 * samples are added to the sums one at a time, with q as above. In the body q = double(sample) + double(rmsOffset), and
 * each sum is gathered in two partial sums, of the samples at even and at odd distance from the first 16-byte boundary,
 * which are then added together and onto the total. So the last bits of sumOfSquares depend on the alignment of data,
 * unless every partial sum is exact.
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
 * samples are added to the sums one at a time; in the body each sum is gathered in two partial sums, of the samples at
 * even and at odd distance from the first 16-byte boundary, which are then added together and onto the total. So the
 * last bits of both sums depend on the alignment of data, unless every partial sum is exact.
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
 * stride walks backwards. The extremes are MERGED with the values passed in.
 * - 8 samples or more, stride above 1: destination[i] = source[i * stride]; the extremes are MERGED with the values
 * passed in. Head, body and tail of the sums are those of destination, so the last bits of sumOfSquares depend on its
 * alignment.
 * - 8 samples or more, stride 1, 0 or negative: the source is read as contiguous, destination[i] = source[i], so a
 * stride of 0 or below is not honoured; the extremes are those of this block alone and OVERWRITE the values passed in.
 * Head, body and tail of the sums are those of source.
 *
 * Fastest when rmsOffset is a whole number.
 *
 * @param destination   out, count samples, contiguous, aligned to 2 bytes.
 * @param source        in, aligned to 2 bytes: (count - 1) * stride + 1 samples from the first to the last one read.
 * With a stride of 2 or 4 those between the copied ones may be read too; nothing before or after is.
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

/* --------------------------------------------------------------------------------------------------- Vector arithmetic
 */

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

/* ---------------------------------------------------------------------------------------------- Sample width
 * conversion */

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

#ifdef __cplusplus
}
#endif

#endif
