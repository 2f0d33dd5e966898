#include <ZORFingerPrint/ZORValue.h>

#include <cmath>
#include <limits>
#include <new>

namespace zor {
namespace {

using Array = ZORValue::Array;
using Dictionary = ZORValue::Dictionary;

// An object that is never destroyed: threads of the host may run until the process has ended.
template <typename Object>
union NeverDestroyed {
  NeverDestroyed() noexcept : object() {}
  ~NeverDestroyed() {}
  Object object;
};

// Initialized when the library is loaded, before any other object in it. A function-local static
// would have a guard, and a fork can freeze that guard.
#define ZOR_MADE_FIRST __attribute__((init_priority(101)))
ZOR_MADE_FIRST const NeverDestroyed<Array> noElements;
ZOR_MADE_FIRST const NeverDestroyed<Dictionary> noEntries;
ZOR_MADE_FIRST const NeverDestroyed<ZORValue> noValue;
#undef ZOR_MADE_FIRST

// The comparison is exact: rounding large integers would make equality intransitive.
template <typename Integer>
bool equal(Integer integer, double real) {
  using Range = std::numeric_limits<Integer>;
  const bool isInRange = real >= static_cast<double>(Range::min()) &&
                         real < std::ldexp(1.0, Range::digits) && std::trunc(real) == real;
  return isInRange && static_cast<Integer>(real) == integer;
}

// Compares two kinds of number, neither of which can hold all integers of the other.
bool equalAcrossKinds(const ZORValue& left, const ZORValue& right) {
  if (left.kind() != ZORValue::Kind::real) {
    return right.kind() == ZORValue::Kind::real && equalAcrossKinds(right, left);
  }
  if (const auto integer = right.integer()) return equal(*integer, *left.number());
  return equal(*right.unsignedInteger(), *left.number());
}

}  // namespace

ZORValue::ZORValue(std::string text) noexcept : _held(std::move(text)) {}
ZORValue::ZORValue(std::string_view text) : _held(std::string(text)) {}
ZORValue::ZORValue(const char* text) {
  if (text != nullptr) _held.emplace<std::string>(text);
}
ZORValue::ZORValue(Data data) noexcept : _held(std::move(data)) {}
ZORValue::ZORValue(ZORDate date) noexcept : _held(date) {}
ZORValue::ZORValue(Array elements) noexcept : _held(std::move(elements)) {}
ZORValue::ZORValue(Dictionary entries) : _held(std::make_unique<Dictionary>(std::move(entries))) {}

ZORValue::ZORValue(const std::vector<std::string>& texts)
    : ZORValue(Array(texts.begin(), texts.end())) {}
ZORValue::ZORValue(const std::map<std::string, std::string>& texts)
    : ZORValue(Dictionary(texts.begin(), texts.end())) {}

ZORValue::ZORValue(const ZORValue& other) {
  if (other.isDictionary()) {
    _held = std::make_unique<Dictionary>(other.entries());
    return;
  }
  std::visit(
      [this](const auto& value) {
        using Alternative = std::decay_t<decltype(value)>;
        if constexpr (std::is_copy_constructible_v<Alternative>) _held.emplace<Alternative>(value);
      },
      other._held);
}

// NOLINTBEGIN(bugprone-exception-escape): a value always holds something, so no access throws.
ZORValue::ZORValue(ZORValue&& other) noexcept : _held(std::move(other._held)) {
  other._held.emplace<std::monostate>();
}

ZORValue& ZORValue::operator=(const ZORValue& other) { return *this = ZORValue(other); }

ZORValue& ZORValue::operator=(ZORValue&& other) noexcept {
  ZORValue taken(std::move(other));  // First, because `other` may be inside this value.
  _held.swap(taken._held);
  return *this;
}

// Collections leave their parents before these are destroyed. Otherwise one call would nest in
// another for each level, and a host may build a value of any depth.
ZORValue::~ZORValue() {
  if (size() == 0) return;
  try {
    Array waiting;
    moveCollections(waiting);
    while (!waiting.empty()) {
      ZORValue next = std::move(waiting.back());
      waiting.pop_back();
      next.moveCollections(waiting);
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): if memory runs out, the calls nest.
  }
}

void ZORValue::moveCollections(Array& destination) {
  const auto moveOne = [&destination](ZORValue& value) {
    if (value.size() != 0) destination.push_back(std::move(value));
  };
  if (auto* array = std::get_if<Array>(&_held)) {
    for (ZORValue& element : *array) moveOne(element);
  } else if (auto* dictionary = std::get_if<std::unique_ptr<Dictionary>>(&_held)) {
    for (auto& entry : **dictionary) moveOne(entry.second);
  }
}

ZORValue ZORValue::array(Array elements) { return {std::move(elements)}; }

ZORValue ZORValue::dictionary(Dictionary entries) { return {std::move(entries)}; }

ZORValue::Held ZORValue::heldUnsigned(std::uint64_t number) noexcept {
  if (number <= std::numeric_limits<std::int64_t>::max()) {
    return Held(std::in_place_type<std::int64_t>, static_cast<std::int64_t>(number));
  }
  return Held(std::in_place_type<std::uint64_t>, number);
}

std::optional<bool> ZORValue::boolean() const noexcept {
  const auto* flag = std::get_if<bool>(&_held);
  return flag != nullptr ? std::optional(*flag) : std::nullopt;
}

std::optional<std::int64_t> ZORValue::integer() const noexcept {
  const auto* integer = std::get_if<std::int64_t>(&_held);
  return integer != nullptr ? std::optional(*integer) : std::nullopt;
}

std::optional<std::uint64_t> ZORValue::unsignedInteger() const noexcept {
  if (const auto* large = std::get_if<std::uint64_t>(&_held)) return *large;
  const auto* integer = std::get_if<std::int64_t>(&_held);
  if (integer == nullptr || *integer < 0) return std::nullopt;
  return static_cast<std::uint64_t>(*integer);
}

std::optional<double> ZORValue::number() const noexcept {
  if (const auto* real = std::get_if<double>(&_held)) return *real;
  if (const auto* integer = std::get_if<std::int64_t>(&_held)) return static_cast<double>(*integer);
  if (const auto* large = std::get_if<std::uint64_t>(&_held)) return static_cast<double>(*large);
  return std::nullopt;
}

const std::string* ZORValue::text() const noexcept { return std::get_if<std::string>(&_held); }

const Data* ZORValue::data() const noexcept { return std::get_if<Data>(&_held); }

std::optional<ZORDate> ZORValue::date() const noexcept {
  const auto* date = std::get_if<ZORDate>(&_held);
  return date != nullptr ? std::optional(*date) : std::nullopt;
}

const Array& ZORValue::elements() const noexcept {
  const auto* array = std::get_if<Array>(&_held);
  return array != nullptr ? *array : noElements.object;
}

const Dictionary& ZORValue::entries() const noexcept {
  const auto* dictionary = std::get_if<std::unique_ptr<Dictionary>>(&_held);
  return dictionary != nullptr ? **dictionary : noEntries.object;
}

std::size_t ZORValue::size() const noexcept {
  return isArray() ? elements().size() : entries().size();
}

const ZORValue* ZORValue::find(std::string_view key) const noexcept {
  const auto found = entries().find(key);
  return found != entries().end() ? &found->second : nullptr;
}

const ZORValue* ZORValue::find(const char* key) const noexcept {
  return key != nullptr ? find(std::string_view(key)) : nullptr;
}

const ZORValue& ZORValue::valueOrNull(const ZORValue* value) noexcept {
  return value != nullptr ? *value : noValue.object;
}

const ZORValue& ZORValue::operator[](std::string_view key) const noexcept {
  return valueOrNull(find(key));
}

const ZORValue& ZORValue::operator[](std::size_t index) const noexcept {
  return valueOrNull(index < elements().size() ? &elements()[index] : nullptr);
}

ZORValue* ZORValue::set(std::string_view key, ZORValue value) {
  if (isNull()) *this = dictionary();
  auto* held = std::get_if<std::unique_ptr<Dictionary>>(&_held);
  if (held == nullptr) return nullptr;
  return &(*held)->insert_or_assign(std::string(key), std::move(value)).first->second;
}

ZORValue* ZORValue::set(const char* key, ZORValue value) {
  return key != nullptr ? set(std::string_view(key), std::move(value)) : nullptr;
}

ZORValue* ZORValue::append(ZORValue value) {
  if (isNull()) *this = array();
  auto* held = std::get_if<Array>(&_held);
  return held != nullptr ? &held->emplace_back(std::move(value)) : nullptr;
}

bool ZORValue::erase(std::string_view key) {
  auto* held = std::get_if<std::unique_ptr<Dictionary>>(&_held);
  if (held == nullptr) return false;
  const auto found = (*held)->find(key);
  if (found == (*held)->end()) return false;
  (*held)->erase(found);
  return true;
}

bool ZORValue::erase(const char* key) { return key != nullptr && erase(std::string_view(key)); }

bool ZORValue::isEqual(const ZORValue& other) const noexcept {
  if (kind() != other.kind()) {
    return isNumber() && other.isNumber() && equalAcrossKinds(*this, other);
  }
  return isDictionary() ? entries() == other.entries() : _held == other._held;
}

// NOLINTEND(bugprone-exception-escape)

}  // namespace zor
