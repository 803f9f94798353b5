// Small problems of linear least squares with many rows.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/problem.hpp"

namespace kxanalysis {

/// Finds the coefficients with which a few columns add up to a target, as nearly as they can, row after row: only the
/// sums of products of the columns are kept. Columns of about the same size that are far from parallel keep nearly all
/// digits.
class LeastSquares {
public:
  explicit LeastSquares(size_t columns) : columns_(columns), products_(columns * columns), targets_(columns) {}

  /// @param row  an element of each column.
  void add(std::span<const double> row, double target) {
    for (size_t i = 0; i < columns_; ++i) {
      for (size_t j = 0; j <= i; ++j) {
        products_[i * columns_ + j] += row[i] * row[j];
      }
      targets_[i] += row[i] * target;
    }
  }

  /// The coefficients, by Cholesky's decomposition; a problem if the columns cannot be told apart.
  Result<std::vector<double>> solved() const;

private:
  size_t columns_;
  std::vector<double> products_;  // lower half
  std::vector<double> targets_;
};

}  // namespace kxanalysis
