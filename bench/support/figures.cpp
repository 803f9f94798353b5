#include "support/figures.hpp"

#include <algorithm>

namespace kxcalc::bench {

const Figure* Row::of(const std::string& who) const {
  return fastest([&](const Figure& figure) { return figure.who == who; });
}

const Figure* Row::ours() const {
  return fastest([](const Figure& figure) { return figure.role == Role::kxcalc; });
}

const Figure* Row::bestPeer(bool sameBits) const {
  return fastest([=](const Figure& figure) {
    return (figure.role == Role::loop || figure.role == Role::library) && (figure.contract.sameBits || !sameBits);
  });
}

std::optional<double> Row::limit() const {
  const Figure* const traffic = fastest([](const Figure& figure) { return figure.role == Role::traffic; });
  const Figure* const chain = fastest([](const Figure& figure) { return figure.role == Role::chain; });
  if (!traffic && !chain) {
    return std::nullopt;
  }
  return std::max(traffic ? traffic->nanoseconds : 0, chain ? chain->nanoseconds : 0);
}

const Figure* Row::fastest(const std::function<bool(const Figure&)>& counts) const {
  const Figure* best = nullptr;
  for (const Figure& figure : figures) {
    if (counts(figure) && (!best || figure.nanoseconds < best->nanoseconds)) {
      best = &figure;
    }
  }
  return best;
}

}  // namespace kxcalc::bench
