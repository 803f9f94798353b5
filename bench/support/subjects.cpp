#include "support/subjects.hpp"

#include <filesystem>
#include <string_view>
#include <utility>

#include "functions/processor.hpp"

namespace kxcalc::bench {
namespace {

std::vector<Quantity> resultsOf(const Entry& entry, const Functions& functions) {
  const auto prepared = entry.prepare(functions);
  prepared->run(1);
  return prepared->results();
}

}  // namespace

Result<std::vector<Sibling>> openSiblings(const std::string& folder) {
  std::vector<Sibling> siblings;
  for (const std::string_view variant : runnableVariants()) {
    const std::string file = folder + "/libkxcalc-" + std::string(variant) + ".so";
    if (!std::filesystem::exists(file)) {
      continue;
    }
    auto library = Library::open(file);
    if (!library) {
      return Problem{library.problem()};
    }
    siblings.push_back({std::string(variant), *library});
  }
  if (siblings.empty()) {
    return Problem{folder + ": holds no library that this processor runs"};
  }
  return siblings;
}

std::vector<Subject> subjectsFor(const std::vector<Sibling>& siblings) {
  std::vector<Subject> subjects;
  for (const Entry& entry : entries()) {
    if (entry.role != Role::kxcalc) {
      subjects.push_back({&entry, entry.who, &siblings.front().library.functions()});
      continue;
    }
    for (const Sibling& sibling : siblings) {
      subjects.push_back({&entry, sibling.variant, &sibling.library.functions()});
    }
  }
  return subjects;
}

std::string disagreement(const Subject& subject, const Functions& first) {
  const Role role = subject.entry->role;
  const bool isFirst = role == Role::kxcalc && subject.functions == &first;
  if (isFirst || role == Role::traffic || role == Role::chain || role == Role::latency) {
    return "";
  }
  const std::vector<Quantity> expected = resultsOf(kernelOf(*subject.entry), first);
  return disagreement(expected, resultsOf(*subject.entry, *subject.functions), subject.entry->contract.tolerance);
}

}  // namespace kxcalc::bench
