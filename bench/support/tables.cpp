#include "support/tables.hpp"

#include <algorithm>
#include <array>
#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>

#include "support/samples.hpp"

namespace kxcalc::bench {
namespace {

using Cells = std::vector<std::string>;

std::string number(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(value < 0.01 ? 4 : (value < 1 ? 3 : (value < 10 ? 2 : 1))) << value;
  return text.str();
}

std::string nanosecondsOf(const Figure* figure) {
  return figure ? number(figure->nanoseconds) : "";
}

std::string nanosecondsAndNameOf(const Figure* figure) {
  return figure ? number(figure->nanoseconds) + ' ' + figure->who : "";
}

std::string ratio(const Figure* ours, std::optional<double> other) {
  std::ostringstream text;
  if (ours && other && *other > 0) {
    text << std::fixed << std::setprecision(2) << ours->nanoseconds / *other;
  }
  return text.str();
}

std::optional<double> timeOf(const Figure* figure) {
  return figure ? std::optional(figure->nanoseconds) : std::nullopt;
}

/// The export without what all begin with, the kind of data, and how many elements where that is not what the table
/// says.
std::string label(const Row& row, std::size_t usualCount) {
  const std::size_t prefix = row.job.starts_with("kxcalc") || row.job.starts_with("kxCalc") ? 6 : 0;
  return row.job.substr(prefix) + (row.variant.empty() ? "" : ", " + row.variant) +
         (row.count == usualCount ? "" : " (" + std::to_string(row.count) + ")");
}

Cells cellsOf(const Row& row, const std::vector<std::string>& variants, std::size_t usualCount) {
  Cells cells{label(row, usualCount)};
  for (const std::string& variant : variants) {
    cells.push_back(nanosecondsOf(row.of(variant)));
  }
  const Figure *const ours = row.ours(), *const same = row.bestPeer(true), *const any = row.bestPeer(false);
  const std::optional<double> limit = row.limit();
  cells.insert(cells.end(), {nanosecondsAndNameOf(same), nanosecondsAndNameOf(any), limit ? number(*limit) : "",
                             ratio(ours, timeOf(same)), ratio(ours, timeOf(any)), ratio(ours, limit)});
  return cells;
}

void writeTable(std::ostream& out, const std::vector<Cells>& lines) {
  std::vector<std::size_t> widths(lines.front().size());
  for (const Cells& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      widths[i] = std::max(widths[i], line[i].size());
    }
  }
  for (const Cells& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      out << "| " << std::left << std::setw(static_cast<int>(widths[i])) << line[i] << ' ';
    }
    out << "|\n";
    if (&line == &lines.front()) {
      for (const std::size_t width : widths) {
        out << '|' << std::string(width + 2, '-');
      }
      out << "|\n";
    }
  }
}

/// In how many rows the fastest library takes no longer than the fastest peer, to within a twentieth.
std::string score(const std::vector<const Row*>& rows, bool sameBits) {
  std::size_t compared = 0, level = 0;
  for (const Row* row : rows) {
    if (const Figure* const ours = row->ours(), * const peer = row->bestPeer(sameBits); ours && peer) {
      ++compared;
      level += ours->nanoseconds <= 1.05 * peer->nanoseconds ? 1 : 0;
    }
  }
  return std::to_string(level) + " of " + std::to_string(compared);
}

struct Size {
  const char* title;
  std::size_t usualCount, largestCount;
};
constexpr std::array sizes{
    Size{"First-level cache: 1,000 elements", blockSizes[0], blockSizes[0]},
    Size{"Second-level cache: 32,000 elements", blockSizes[1], blockSizes[1]},
    Size{"Memory: 10,000,000 elements", blockSizes[2], blockSizes[2]},
};

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    result += c == '"' ? "\"\"" : std::string(1, c);
  }
  return result + '"';
}

const char* kindOf(const Figure& figure) {
  constexpr std::array names{"kxcalc", "loop", "library", "traffic", "chain", "latency"};
  return names[static_cast<std::size_t>(figure.role)];
}

}  // namespace

void writeMarkdown(std::ostream& out, const std::vector<Row>& rows, const std::vector<std::string>& variants) {
  std::size_t smallest = 0;
  for (const Size& size : sizes) {
    std::vector<const Row*> shown;
    for (const Row& row : rows) {
      if (row.count > smallest && row.count <= size.largestCount && row.ours()) {
        shown.push_back(&row);
      }
    }
    smallest = size.largestCount;
    if (shown.empty()) {
      continue;
    }
    Cells head{"job"};
    head.insert(head.end(), variants.begin(), variants.end());
    head.insert(head.end(), {"same bits", "any", "limit", "/ same", "/ any", "/ limit"});
    std::vector<Cells> lines{head};
    for (const Row* row : shown) {
      lines.push_back(cellsOf(*row, variants, size.usualCount));
    }
    out << "\n## " << size.title << "\n\n";
    writeTable(out, lines);
    out << "\nAhead or level: " << score(shown, true) << " where a peer gives the same bits, " << score(shown, false)
        << " where there is any.\n";
  }
}

void writeCsv(std::ostream& out, const std::vector<Row>& rows, const std::string& date, const std::string& processor,
              const std::string& compiler) {
  out << "date,processor,compiler,job,variant,elements,who,kind,same_bits,does_not_promise,ns_per_element,time_by_"
         "ours\n";
  for (const Row& row : rows) {
    const Figure* const ours = row.ours();
    for (const Figure& figure : row.figures) {
      const bool isPeer = figure.role == Role::loop || figure.role == Role::library;
      out << date << ',' << quoted(processor) << ',' << quoted(compiler) << ',' << row.job << ',' << row.variant << ','
          << row.count << ',' << figure.who << ',' << kindOf(figure) << ','
          << (isPeer ? (figure.contract.sameBits ? "yes" : "no") : "") << ',' << quoted(figure.contract.notPromised)
          << ',' << figure.nanoseconds << ',';
      if (ours) {
        out << figure.nanoseconds / ours->nanoseconds;
      }
      out << '\n';
    }
  }
}

}  // namespace kxcalc::bench
