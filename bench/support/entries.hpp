// What is measured: each job's kernel, its peers and its limits, on each kind of data and each block size. Bench files
// announce it; the programs choose what they run of it, and with which libraries.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "functions/functions.hpp"
#include "support/quantities.hpp"

namespace kxcalc::bench {

enum class Role {
  kxcalc,
  loop,     // that a user would write
  library,  // of others
  traffic,  // the job's memory accesses alone
  chain,    // the dependent operations that the job's result is defined by
  latency,  // of one operation, for orientation
};

/// What a peer keeps of what an export promises.
struct Contract {
  bool sameBits;  // the export's order and rounding of all operations: the same bits of ordinary numbers
  std::string
      notPromised;   // what the export promises beyond that and the peer does not, or what the peer does otherwise
  double tolerance;  // how far its results may be off
};

/// The export's operations in its order, each rounded as its contract says.
inline Contract sameBits(std::string notPromised = "") {
  return {true, std::move(notPromised), 0};
}

/// How far a peer may be off: by the roundings of sums in another order; of a few operations in single; of sums in
/// single.
inline constexpr double sumsInOtherOrder = 1e-9;
inline constexpr double otherRoundings = 1e-5;
inline constexpr double sumsInSingle = 1e-3;

/// Anything else that does the job.
inline Contract otherBits(std::string notPromised, double tolerance) {
  return {false, std::move(notPromised), tolerance};
}

/// A workload, and what runs on it.
class Prepared {
public:
  virtual ~Prepared() = default;
  virtual void run(std::size_t times) = 0;
  /// The quantities that were computed.
  virtual std::vector<Quantity> results() const = 0;
};

struct Entry {
  std::string job;      // the export's name
  std::string variant;  // which data or arguments, if there are several
  std::size_t count;    // elements
  std::string who;      // empty: the kernel, of whichever library
  Role role;
  Contract contract;
  /// With fresh data. Only kernels take their functions from the table. Results of a run stand where the next
  /// preparation puts its own.
  std::function<std::unique_ptr<Prepared>(const Functions&)> prepare;

  /// <job>[/<variant>]/<count>: what is compared with each other.
  std::string row() const;
};

void announce(Entry entry);

/// All that were announced, in that order.
const std::vector<Entry>& entries();

/// The kernel that an entry is compared with.
const Entry& kernelOf(const Entry& entry);

}  // namespace kxcalc::bench
