// What a run measures: the entries, their kernels once for each library.
#pragma once

#include <string>
#include <vector>

#include "functions/library.hpp"
#include "support/entries.hpp"

namespace kxcalc::bench {

struct Sibling {
  std::string variant;  // the instruction set in the file's name
  Library library;
};

/// The libraries of a folder that this processor runs, the fastest first.
Result<std::vector<Sibling>> openSiblings(const std::string& folder);

struct Subject {
  const Entry* entry;
  std::string who;             // the peer, or the library's variant
  const Functions* functions;  // of that library; for others those of the first

  /// The benchmark's: <job>[/<variant>]/<count>/<who>.
  std::string name() const { return entry->row() + '/' + who; }
};

/// All that was announced. The siblings have to live on.
std::vector<Subject> subjectsFor(const std::vector<Sibling>& siblings);

/// Empty if the subject's results are those of the first library: to the bit, or as nearly as its contract says. Limits
/// have none.
std::string disagreement(const Subject& subject, const Functions& first);

}  // namespace kxcalc::bench
