// A value of one of ten kinds: used by JSON, the user defaults and the probes.
#ifndef ZORFINGERPRINT_ZORVALUE_H_
#define ZORFINGERPRINT_ZORVALUE_H_

#include <ZORFingerPrint/ZORExport.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace zor {

// Raw bytes.
using Data = std::vector<std::uint8_t>;

// A point in time.
struct ZORDate {
  double secondsSince1970 = 0;

  friend bool operator==(ZORDate left, ZORDate right) {
    return left.secondsSince1970 == right.secondsSince1970;
  }
  friend bool operator!=(ZORDate left, ZORDate right) { return !(left == right); }
};

// Copies are deep; a value that was moved from is null. Nothing is thrown but std::bad_alloc. Like
// a standard container, a value that one thread changes must not be used by another at the same
// time. NOLINTBEGIN(bugprone-exception-escape): a value always holds something, so no access
// throws.
class ZOR_EXPORT ZORValue {
  template <typename Value>
  static constexpr bool kIsCharacter =
      std::is_same_v<Value, char> || std::is_same_v<Value, wchar_t> ||
      std::is_same_v<Value, char16_t> || std::is_same_v<Value, char32_t>;
  template <typename Value>
  static constexpr bool kIsNumber =
      std::is_arithmetic_v<Value> && !std::is_same_v<Value, bool> && !kIsCharacter<Value>;

 public:
  enum class Kind {
    null,
    boolean,
    integer,
    unsignedInteger,  // Above the range of std::int64_t; every other integer is an `integer`.
    real,
    text,
    data,
    date,
    array,
    dictionary
  };
  using Array = std::vector<ZORValue>;
  using Dictionary = std::map<std::string, ZORValue, std::less<>>;

  // NOLINTBEGIN(google-explicit-constructor): a value stands for what it holds. No pointer other
  // than a text converts, and a character is not taken as a number.
  ZORValue(std::nullptr_t = nullptr) noexcept {}
  template <typename Boolean, std::enable_if_t<std::is_same_v<Boolean, bool>, int> = 0>
  ZORValue(Boolean flag) noexcept : _held(std::in_place_type<bool>, flag) {}
  template <typename Number, std::enable_if_t<kIsNumber<Number>, std::nullptr_t> = nullptr>
  ZORValue(Number number) noexcept : _held(held(number)) {}
  ZORValue(std::string text) noexcept;
  ZORValue(std::string_view text);
  ZORValue(const char* text);  // NUL-terminated; a null pointer gives the null value.
  ZORValue(Data data) noexcept;
  ZORValue(ZORDate date) noexcept;
  ZORValue(Array elements) noexcept;
  ZORValue(Dictionary entries);
  ZORValue(const std::vector<std::string>& texts);
  ZORValue(const std::map<std::string, std::string>& texts);
  // NOLINTEND(google-explicit-constructor)
  ZORValue(const ZORValue& other);
  ZORValue(ZORValue&& other) noexcept;
  ZORValue& operator=(const ZORValue& other);
  ZORValue& operator=(ZORValue&& other) noexcept;
  ~ZORValue();

  // ZORValue::array({1, "two"}) and ZORValue::dictionary({{"key", 1}, {"other", value}}).
  static ZORValue array(Array elements = {});
  static ZORValue dictionary(Dictionary entries = {});
  // The null value if `value` is absent.
  template <typename Value>
  static ZORValue orNull(const std::optional<Value>& value) {
    return value ? ZORValue(*value) : ZORValue();
  }

  Kind kind() const noexcept { return static_cast<Kind>(_held.index()); }
  bool isNull() const noexcept { return kind() == Kind::null; }
  bool isBoolean() const noexcept { return kind() == Kind::boolean; }
  bool isNumber() const noexcept { return kind() >= Kind::integer && kind() <= Kind::real; }
  bool isText() const noexcept { return kind() == Kind::text; }
  bool isData() const noexcept { return kind() == Kind::data; }
  bool isDate() const noexcept { return kind() == Kind::date; }
  bool isArray() const noexcept { return kind() == Kind::array; }
  bool isDictionary() const noexcept { return kind() == Kind::dictionary; }

  // The content; absent if the value is of another kind. Pointers and references point into this
  // value and are valid until its next change.
  std::optional<bool> boolean() const noexcept;
  std::optional<std::int64_t> integer() const noexcept;  // Not a real number, even 1.0.
  std::optional<std::uint64_t> unsignedInteger()
      const noexcept;                             // Any integer that is not negative.
  std::optional<double> number() const noexcept;  // Any number, rounded if necessary.
  const std::string* text() const noexcept;
  const Data* data() const noexcept;
  std::optional<ZORDate> date() const noexcept;

  // For loops: empty when the value is of another kind.
  const Array& elements() const noexcept;
  const Dictionary& entries() const noexcept;  // In the order of their keys.
  std::size_t size() const noexcept;           // Of either; 0 for every other kind.

  // The value under `key`; null when there is none, this is not a dictionary or `key` is null.
  const ZORValue* find(std::string_view key) const noexcept;
  const ZORValue* find(const char* key) const noexcept;
  // The same for chains, with the null value for what is missing: answer["data"]["name"].text().
  const ZORValue& operator[](std::string_view key) const noexcept;
  template <typename Character, std::enable_if_t<std::is_same_v<Character, char>, int> = 0>
  const ZORValue& operator[](const Character* key) const noexcept {
    return valueOrNull(find(key));
  }
  const ZORValue& operator[](std::size_t index) const noexcept;

  // Put `value` into a dictionary or an array; a null value becomes one first. Return where it is
  // now; null, and no change: this is of another kind, or `key` is null.
  ZORValue* set(std::string_view key, ZORValue value);
  ZORValue* set(const char* key, ZORValue value);
  ZORValue* append(ZORValue value);
  // Whether there was an entry.
  bool erase(std::string_view key);
  bool erase(const char* key);

  // Numbers are equal by value, whatever their kind: 1 equals 1.0. A boolean is not a number.
  friend bool operator==(const ZORValue& left, const ZORValue& right) noexcept {
    return left.isEqual(right);
  }
  friend bool operator!=(const ZORValue& left, const ZORValue& right) noexcept {
    return !(left == right);
  }

 private:
  static const ZORValue& valueOrNull(const ZORValue* value) noexcept;
  void moveCollections(Array& destination);
  bool isEqual(const ZORValue& other) const noexcept;

  // In the order of Kind. The dictionary is held by a pointer because a map's elements must be
  // complete. Its pointer is never null.
  using Held = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string,
                            Data, ZORDate, Array, std::unique_ptr<Dictionary>>;

  template <typename Number>
  static Held held(Number number) noexcept {
    if constexpr (std::is_floating_point_v<Number>) {
      return Held(std::in_place_type<double>, static_cast<double>(number));
    } else if constexpr (std::is_signed_v<Number>) {
      return Held(std::in_place_type<std::int64_t>, number);
    } else {
      return heldUnsigned(number);
    }
  }
  static Held heldUnsigned(std::uint64_t number) noexcept;

  Held _held;
};
// NOLINTEND(bugprone-exception-escape)

}  // namespace zor

#endif  // ZORFINGERPRINT_ZORVALUE_H_
