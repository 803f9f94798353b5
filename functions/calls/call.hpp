// A call of an export, described once: which arguments it takes, of which shapes, and what comes out. Where the arguments come from is
// a source's affair (every combination of input sets, a fuzzer's bytes, the same data every time), where the results go a
// sink's (a hash, a record that is compared with another). The same source gives the library and its plain model the same
// arguments.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <span>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "functions/functions.hpp"

namespace kxcalc::calls {

template <class T>
concept Number = std::integral<T> || std::floating_point<T>;

/// The type among those below that an integer has: there may be two of one size and sign.
template <class T, class Narrow, class Short, class Long, class Wide>
using OfSize =
    std::conditional_t<sizeof(T) == 1, Narrow,
                       std::conditional_t<sizeof(T) == 2, Short, std::conditional_t<sizeof(T) == 4, Long, Wide>>>;
template <class T>
using Plain = std::conditional_t<std::is_floating_point_v<T>, T,
                                 std::conditional_t<std::is_signed_v<T>, OfSize<T, int8_t, int16_t, int32_t, int64_t>,
                                                    OfSize<T, uint8_t, uint16_t, uint32_t, uint64_t>>>;

template <class... T>
using SpansOf = std::variant<std::span<T>...>;
/// A run of numbers of one of the types that occur.
using Elements = SpansOf<uint8_t, int8_t, int16_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t, float, double>;
using ConstElements = SpansOf<const uint8_t, const int8_t, const int16_t, const uint16_t, const int32_t, const uint32_t,
                              const int64_t, const uint64_t, const float, const double>;

/// Which numbers make sense. A source that goes to extremes on purpose may give any to all of them.
enum class Numbers {
  any,
  selected,  // any; ties, and NaNs of every bit pattern: the call selects among them
  moderate,  // any, but ordinary ones where the others of the call are of the whole range
  ordinary,  // as a measurement has them: extremes would hide everything else, or reach the platform's functions
  angles     // ordinary angles
};

enum class Place {
  anywhere,    // at any multiple of the element's size
  everywhere,  // likewise, and results depend on it, or paths do: each place counts
  aligned      // to 16 bytes
};

enum class Nan {
  any,  // of arithmetic: all NaNs are one
  bits  // the contract names the bits
};

enum class Role {
  input,   // comes out as it went in
  output,  // holds nothing of interest before the call
  both,
  workspace  // the description says what comes out
};

struct Memory {
  std::size_t bytes;
  std::size_t elementSize;
  Place place;
  Role role;
};

/// What the arguments are drawn from.
class Source {
public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  /// Whether settings come from a description's examples; else they are drawn from their whole range.
  virtual bool takesExamples() const = 0;
  /// One of a number of options, the most usual one being 0.
  virtual std::size_t option(std::size_t options) = 0;
  /// 0 to highest.
  virtual uint64_t upTo(uint64_t highest) = 0;
  /// Now and then, where the source goes to extremes: once in so many times.
  virtual bool rarely(uint8_t times) = 0;
  /// A number of elements, such that heads, tails and whole blocks occur.
  virtual uint32_t count(uint32_t least) = 0;
  /// Lives as long as the source.
  virtual std::byte* memory(const Memory& memory) = 0;
  virtual void fill(Elements elements, Numbers numbers) = 0;
  /// Whether nothing was written beside the memory handed out.
  virtual bool surroundingsIntact() const = 0;
  /// Before each call of an export, all its arguments being told.
  virtual void calling() {}
  /// A number that was drawn.
  virtual void toldNumber(const char* /*name*/, ConstElements /*one*/) {}
  /// A block that was handed out. What the call reads stands in it when the call begins.
  virtual void toldBlock(const char* /*name*/, ConstElements /*elements*/, Role /*role*/) {}
};

/// Where the results go.
class Sink {
public:
  Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  virtual ~Sink() = default;

  /// A result, or an input after the call.
  virtual void take(const char* name, ConstElements elements, Nan rule, Role role) = 0;
};

/// How the elements of a block are.
struct How {
  Numbers numbers = Numbers::any;
  Place place = Place::anywhere;
  Nan nan = Nan::any;
};

class Call {
public:
  Call(const Functions& functions, Source& source, Sink& sink) : functions_(functions), source_(source), sink_(sink) {}

  const Functions& functions() const { return functions_; }

  bool takesExamples() const { return source_.takesExamples(); }

  /// Number of elements.
  uint32_t count(uint32_t least = 0) { return told("count", source_.count(least)); }
  /// One that is signed: now and then it is not above 0.
  int32_t signedCount(int32_t highestOdd = 0) {
    return source_.rarely(16) ? between("count", INT32_MIN, highestOdd) : static_cast<int32_t>(count());
  }

  /// The examples, the most usual one first, or what is drawn otherwise.
  template <class T, class Draw>
  T setting(std::span<const T> examples, Draw draw) {
    return source_.takesExamples() ? examples[source_.option(examples.size())] : draw();
  }
  /// The examples, or from lowest to highest.
  template <std::integral T>
  T setting(const char* name, std::initializer_list<T> examples, T lowest, T highest) {
    return told(name, setting(std::span<const T>(examples), [&] { return drawn(lowest, highest); }));
  }
  /// The examples, or any number.
  template <Number T>
  T setting(const char* name, std::initializer_list<T> examples) {
    return source_.takesExamples() ? oneOf(name, examples) : number<T>(name);
  }
  /// Each of them counts; the most usual one is the first.
  template <class T>
  T oneOf(const char* name, std::initializer_list<T> values) {
    const T& value = values.begin()[source_.option(values.size())];
    if constexpr (Number<T>) {
      told(name, value);
    } else {  // an enumeration
      told(name, static_cast<int32_t>(value));
    }
    return value;
  }
  /// From lowest to highest, and each of them counts.
  template <std::integral T>
  T each(const char* name, T lowest, T highest) {
    const auto values = static_cast<std::size_t>(highest - lowest) + 1;
    return told(name, source_.takesExamples() ? static_cast<T>(lowest + static_cast<T>(source_.option(values)))
                                              : drawn(lowest, highest));
  }
  /// From lowest to highest.
  template <std::integral T>
  T between(const char* name, T lowest, T highest) {
    return told(name, drawn(lowest, highest));
  }
  /// A number that the description made of others.
  template <Number T>
  void tell(const char* name, T value) {
    told(name, value);
  }
  bool rarely(uint8_t times) { return source_.rarely(times); }
  /// The description is worth so many runs with other numbers.
  void repeat(std::size_t times) {
    if (source_.takesExamples()) {
      source_.option(times);
    }
  }

  template <Number T>
  T number(const char* name, Numbers numbers = Numbers::any) {
    T value{};
    setNumber(name, value, numbers);
    return value;
  }
  /// In memory, where a signalling NaN keeps its bits.
  template <Number T>
  void setNumber(const char* name, T& value, Numbers numbers = Numbers::any) {
    source_.fill(std::span(&value, 1), numbers);
    source_.toldNumber(name, std::span<const T>(&value, 1));
  }

  /// What the export reads.
  template <Number T>
  std::span<T> input(const char* name, std::size_t count, const How& how = {}) {
    return filled<T>(name, count, how, Role::input);
  }
  /// What it overwrites.
  template <Number T>
  std::span<T> output(const char* name, std::size_t count, const How& how = {}) {
    return block<T>(name, count, how, Role::output);
  }
  /// What it reads and writes.
  template <Number T>
  std::span<T> both(const char* name, std::size_t count, const How& how = {}) {
    return filled<T>(name, count, how, Role::both);
  }
  /// What it reads and writes as numbers of another type.
  template <Number T>
  std::span<T> workspace(const char* name, std::size_t count, const How& how = {}) {
    return filled<T>(name, count, how, Role::workspace);
  }

  /// Calls the export. Spans go to it as pointers.
  template <class Result, class... Parameters, class... Arguments>
  Result run(Result (*function)(Parameters...), const Arguments&... arguments) {
    source_.calling();
    return function(static_cast<Parameters>(asArgument(arguments))...);
  }
  /// With a record as first argument, which must not change.
  template <class Result, class Record, class... Parameters, class... Arguments>
  Result runWithRecord(Result (*function)(const Record*, Parameters...), const Record& record,
                       const Arguments&... arguments) {
    const auto before = bytesOf(record);
    const auto check = [&] { result("record unchanged", static_cast<uint8_t>(bytesOf(record) == before)); };
    if constexpr (std::is_void_v<Result>) {
      run(function, &record, arguments...);
      check();
    } else {
      const Result value = run(function, &record, arguments...);
      check();
      return value;
    }
  }

  template <Number T>
  void result(const char* name, const T& value, Nan rule = Nan::any) {
    result(name, std::span<const T>(&value, 1), rule);
  }
  template <Number T>
  void result(const char* name, std::span<const T> elements, Nan rule = Nan::any) {
    sink_.take(name, elements, rule, Role::output);
  }

  /// Delivers the blocks as they are now.
  void deliver();

private:
  struct Block {
    const char* name;
    ConstElements elements;
    Nan rule;
    Role role;
  };

  template <class T>
  static std::array<std::byte, sizeof(T)> bytesOf(const T& record) {
    std::array<std::byte, sizeof(T)> bytes;
    std::memcpy(bytes.data(), &record, sizeof record);
    return bytes;
  }

  template <class T>
  static const T& asArgument(const T& value) {
    return value;
  }
  template <class T>
  static T* asArgument(const std::span<T>& elements) {
    return elements.data();
  }

  template <Number T>
  T told(const char* name, T value) {
    const auto plain = static_cast<Plain<T>>(value);
    source_.toldNumber(name, std::span<const Plain<T>>(&plain, 1));
    return value;
  }

  template <std::integral T>
  T drawn(T lowest, T highest) {
    return static_cast<T>(static_cast<uint64_t>(lowest) +
                          source_.upTo(static_cast<uint64_t>(highest) - static_cast<uint64_t>(lowest)));
  }

  template <Number T>
  std::span<T> memory(std::size_t count, const How& how, Role role) {
    return {reinterpret_cast<T*>(source_.memory({count * sizeof(T), sizeof(T), how.place, role})), count};
  }
  template <Number T>
  std::span<T> block(const char* name, std::size_t count, const How& how, Role role) {
    const std::span<T> elements = memory<T>(count, how, role);
    source_.toldBlock(name, std::span<const T>(elements), role);
    blocks_.push_back({name, std::span<const T>(elements), how.nan, role});
    return elements;
  }
  template <Number T>
  std::span<T> filled(const char* name, std::size_t count, const How& how, Role role) {
    const std::span<T> elements = block<T>(name, count, how, role);
    source_.fill(elements, how.numbers);
    return elements;
  }

  const Functions& functions_;
  Source& source_;
  Sink& sink_;
  std::vector<Block> blocks_;
};

/// An export and how it is called.
struct Description {
  const char* family;
  const char* name;
  void (*describe)(Call& call, const Functions& functions);

  /// One call, or one stream, with arguments of the source.
  void run(const Functions& functions, Source& source, Sink& sink) const;
};

/// One for each export, in the header's order.
std::span<const Description> descriptions();

}  // namespace kxcalc::calls
