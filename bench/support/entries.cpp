#include "support/entries.hpp"

#include <algorithm>
#include <utility>

namespace kxcalc::bench {
namespace {

std::vector<Entry>& announced() {
  static std::vector<Entry> all;
  return all;
}

}  // namespace

std::string Entry::row() const {
  return job + (variant.empty() ? "" : '/' + variant) + '/' + std::to_string(count);
}

void announce(Entry entry) {
  announced().push_back(std::move(entry));
}

const std::vector<Entry>& entries() {
  return announced();
}

const Entry& kernelOf(const Entry& entry) {
  return *std::find_if(announced().begin(), announced().end(), [&](const Entry& other) {
    return other.role == Role::kxcalc && other.job == entry.job && other.variant == entry.variant &&
           other.count == entry.count;
  });
}

}  // namespace kxcalc::bench
