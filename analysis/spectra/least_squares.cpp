#include "analysis/spectra/least_squares.hpp"

#include <cmath>

namespace kxanalysis {

Result<std::vector<double>> LeastSquares::solved() const {
  constexpr double leastShare = 1e-10;  // of a column that the ones before it do not hold
  std::vector<double> root(products_), result(targets_);
  const auto at = [&](size_t i, size_t j) -> double& { return root[i * columns_ + j]; };
  for (size_t i = 0; i < columns_; ++i) {
    for (size_t j = 0; j <= i; ++j) {
      for (size_t k = 0; k < j; ++k) {
        at(i, j) -= at(i, k) * at(j, k);
      }
      if (j < i) {
        at(i, j) /= at(j, j);
      }
    }
    if (!(at(i, i) > leastShare * products_[i * columns_ + i])) {
      return Problem{"the columns cannot be told apart"};
    }
    at(i, i) = std::sqrt(at(i, i));
  }
  for (size_t i = 0; i < columns_; ++i) {
    for (size_t k = 0; k < i; ++k) {
      result[i] -= at(i, k) * result[k];
    }
    result[i] /= at(i, i);
  }
  for (size_t i = columns_; i-- > 0;) {
    for (size_t k = i + 1; k < columns_; ++k) {
      result[i] -= at(k, i) * result[k];
    }
    result[i] /= at(i, i);
  }
  return result;
}

}  // namespace kxanalysis
