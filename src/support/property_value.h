// The values that user defaults and archives hold.
#ifndef ZOR_SUPPORT_PROPERTY_VALUE_H_
#define ZOR_SUPPORT_PROPERTY_VALUE_H_

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace zor {

// A point in time.
struct Date {
  double secondsSince1970 = 0;
  friend bool operator==(Date left, Date right) {
    return left.secondsSince1970 == right.secondsSince1970;
  }
};

class PropertyValue;
using PropertyDictionary = std::map<std::string, PropertyValue>;

// A text, a number, a date or a dictionary of such values.
class PropertyValue {
 public:
  // NOLINTBEGIN(google-explicit-constructor): a value stands for what it holds.
  PropertyValue(std::string text) : _value(std::move(text)) {}
  PropertyValue(const char* text) : _value(std::string(text)) {}
  PropertyValue(double number) : _value(number) {}
  PropertyValue(Date date) : _value(date) {}
  PropertyValue(PropertyDictionary dictionary) : _value(std::move(dictionary)) {}
  // NOLINTEND(google-explicit-constructor)

  // Each is null when the value is of another kind.
  const std::string* text() const { return std::get_if<std::string>(&_value); }
  const double* number() const { return std::get_if<double>(&_value); }
  const Date* date() const { return std::get_if<Date>(&_value); }
  const PropertyDictionary* dictionary() const { return std::get_if<PropertyDictionary>(&_value); }

  friend bool operator==(const PropertyValue& left, const PropertyValue& right) {
    return left._value == right._value;
  }

 private:
  std::variant<std::string, double, Date, PropertyDictionary> _value;
};

// The text under `key`; nullopt when it is missing or of another kind.
inline std::optional<std::string> textForKey(const PropertyDictionary& dictionary,
                                             const std::string& key) {
  const auto found = dictionary.find(key);
  if (found == dictionary.end() || found->second.text() == nullptr) return std::nullopt;
  return *found->second.text();
}

// The date under `key`; nullopt when it is missing or of another kind.
inline std::optional<Date> dateForKey(const PropertyDictionary& dictionary,
                                      const std::string& key) {
  const auto found = dictionary.find(key);
  if (found == dictionary.end() || found->second.date() == nullptr) return std::nullopt;
  return *found->second.date();
}

}  // namespace zor

#endif  // ZOR_SUPPORT_PROPERTY_VALUE_H_
