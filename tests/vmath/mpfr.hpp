// Correctly rounded doubles by MPFR (L. Fousse et al., "MPFR: A multiple-precision binary floating-point library with correct
// rounding", ACM TOMS 33, 2007).
#ifndef KXCALC_TESTS_VMATH_MPFR_HPP
#define KXCALC_TESTS_VMATH_MPFR_HPP

#include <mpfr.h>

namespace vmath {

/// A number of some bits. A thread keeps its own.
class Multiple {
public:
  explicit Multiple(mpfr_prec_t bits) { mpfr_init2(number_, bits); }
  ~Multiple() { mpfr_clear(number_); }
  Multiple(const Multiple&) = delete;
  Multiple& operator=(const Multiple&) = delete;

  mpfr_ptr get() { return number_; }
  Multiple& operator=(double value) {
    mpfr_set_d(number_, value, MPFR_RNDN);
    return *this;
  }
  double toDouble() const { return mpfr_get_d(number_, MPFR_RNDN); }

private:
  mpfr_t number_;
};

/// A function of MPFR of one argument, of a double, rounded once.
template <typename Function>
double correct(Function function, double x) {
  thread_local Multiple argument(53);
  thread_local Multiple result(53);
  argument = x;
  function(result.get(), argument.get(), MPFR_RNDN);
  return result.toDouble();
}

inline double correctArctangent2(double y, double x) {
  thread_local Multiple ordinate(53);
  thread_local Multiple abscissa(53);
  thread_local Multiple result(53);
  ordinate = y;
  abscissa = x;
  mpfr_atan2(result.get(), ordinate.get(), abscissa.get(), MPFR_RNDN);
  return result.toDouble();
}

}  // namespace vmath

#endif
