// Heat release: what the gas takes up while it burns, out of its pressure.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "analysis/combustion/cycle_figures.hpp"
#include "analysis/combustion/engine.hpp"

namespace kxanalysis {

/// How the polytropic exponent goes over combustion: from that of the compression to that of the expansion, as the charge burns.
struct HeatExponents {
  double compression;
  double expansion;
};

/// Apparent net heat release of one zone: the heat that the gas takes up, less what the walls and the crevices take,
///
///   dQ = n / (n - 1) p dV + 1 / (n - 1) V dp
///
/// Heywood, Internal Combustion Engine Fundamentals (1988), section 10.4, equation 10.6, with the polytropic exponent n in the place of
/// the ratio of heats; Gatowski et al., Heat release analysis of engine pressure data, SAE 841359 (1984), have the terms that are left
/// aside. This is d(p V^n) / ((n - 1) V^(n - 1)), and so it is added up: over a step the difference of p V^n counts, with V^(n - 1) at the
/// mean of the volumes, so that a polytrope releases nothing however long the steps are.
/// @param exponents  above 1.
/// @param window     within the angles.
/// @return           in joules since the window's first sample, one for each of its samples; empty where it holds none.
std::vector<double> heatCurve(const Engine& engine, const std::vector<double>& angles, std::span<const float> pressures,
                              AngleWindow window, HeatExponents exponents);

/// Of one cycle, angles in degrees.
struct HeatRelease {
  double heat;  ///< in joules, from the curve's lowest point to its highest
  double angle10;
  double angle50;
  double angle90;  ///< at which that share of the heat is released, between samples

  double duration() const { return angle90 - angle10; }
};

/// The highest point is the first of the highest ones, the lowest one lies before it, and a share is reached where it is reached first
/// behind that. None where the charge does not burn (less heat than a hundredth of what the gas holds at the window's begin, p V / (n -
/// 1)), or with an exponent outside of 1.01 to 2.
std::optional<HeatRelease> heatRelease(const Engine& engine, const std::vector<double>& angles,
                                       std::span<const float> pressures, AngleWindow window, HeatExponents exponents);

}  // namespace kxanalysis
