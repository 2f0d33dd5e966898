#include "profile_tool/operator_profile.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>

#include "literals/signing_key_check.h"
#include "platform/ports.h"
#include "support/json_codec.h"
#include "support/text.h"

namespace zor::profile {
namespace {

constexpr const char* kSchemaText =
#include "profile_tool/schema_text.inc"
    ;
constexpr const char* kDefaultProfileText =
#include "profile_tool/default_profile_text.inc"
    ;
constexpr std::size_t kMaxFileBytes = 1 << 20;
constexpr std::size_t kKeyCharacters = 16;
constexpr std::size_t kSigningKeyCharacters = 40;

const ZORValue& schema() {
  static const ZORValue& parsed = *new ZORValue(ZORValue::orNull(valueFromJson(kSchemaText)));
  return parsed;
}

std::string textOr(const ZORValue& value, const std::string& otherwise) {
  return value.text() != nullptr ? *value.text() : otherwise;
}

std::size_t numberOr(const ZORValue& value, std::size_t otherwise) {
  return value.integer() ? static_cast<std::size_t>(*value.integer()) : otherwise;
}

// Names the kinds as CMake's JSON commands do.
const char* kindName(const ZORValue& value) {
  if (value.isText()) return "STRING";
  if (value.isArray()) return "ARRAY";
  if (value.isDictionary()) return "OBJECT";
  if (value.isBoolean()) return "BOOLEAN";
  return value.isNumber() ? "NUMBER" : "NULL";
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

bool hasForm(const std::string& text, const ZORValue& form) {
  for (const ZORValue& alternative : form["patterns"].elements()) {
    std::string pattern = *alternative.text();
    for (const auto& [part, meaning] : schema()["parts"].entries()) {
      std::string place = "<";
      place.append(part).append(">");
      pattern = replaced(std::move(pattern), place, *meaning.text());
    }
    if (std::regex_search(text, std::regex(pattern))) return true;
  }
  return false;
}

// Collects what is wrong with one profile.
class Checker {
 public:
  explicit Checker(const ZORValue& document) : _texts(document["texts"]) {
    _name = textOr(document["name"], "");
    _isDefault = _name == *schema()["defaultProfile"].text();
    const ZORValue& rule = schema()["name"];
    if (_name.size() > numberOr(rule["maxBytes"], 0) ||
        !std::regex_search(_name, std::regex(*rule["pattern"].text()))) {
      complain("name is \"" + _name + "\"; wanted: " + *rule["wanted"].text());
    }
    const ZORValue* consent = document.find("consentRequired");
    if (consent != nullptr && !consent->isBoolean()) {
      complain("consentRequired is neither true nor false");
    }
  }

  std::vector<std::string> check() {
    std::vector<std::string> known;
    for (const ZORValue& entry : schema()["entries"].elements()) {
      checkEntry(entry);
      known.push_back(*entry["name"].text());
    }
    for (const auto& [name, value] : _texts.entries()) {
      if (std::find(known.begin(), known.end(), name) == known.end()) {
        complain(name + " is not an entry of a profile");
      }
    }
    if (_problems.empty() && !signingKeyOpens()) {
      complain("kSigningKey does not open with kTextCipherKey and kTextCipherVector; wanted: " +
               *schema()["forms"]["sealedKey"]["wanted"].text());
    }
    return std::move(_problems);
  }

 private:
  void complain(std::string problem) { _problems.push_back(std::move(problem)); }

  bool signingKeyOpens() const {
    return signing_key::opens(*_texts["kTextCipherKey"].text(), *_texts["kTextCipherVector"].text(),
                              *_texts["kSigningKey"].text());
  }

  // Whether the entry's route is turned off: the entry that leads to it is empty.
  bool isOff(const ZORValue& entry, bool& isSwitch) const {
    const std::string* route = entry["route"].text();
    if (route == nullptr) return false;
    const std::string& name = *schema()["routes"][std::string_view(*route)].text();
    isSwitch = name == *entry["name"].text();
    const ZORValue& value = _texts[std::string_view(name)];
    return (value.isArray() && value.size() == 0) || (value.isText() && value.text()->empty());
  }

  void checkEntry(const ZORValue& entry) {
    const std::string& name = *entry["name"].text();
    const std::string label = name + " (" + *entry["role"].text() + ")";
    const bool isList = entry["list"] == true;
    const char* wantedKind = isList ? "ARRAY" : "STRING";
    const ZORValue* value = _texts.find(std::string_view(name));
    bool isSwitch = false;
    const bool off = isOff(entry, isSwitch);
    if (value == nullptr) {
      if (!off) complain(label + " is missing");
    } else if (std::string(kindName(*value)) != wantedKind) {
      complain(label + " is of the kind " + kindName(*value) + "; wanted: " + wantedKind);
    } else if (off && isSwitch) {
      if (_isDefault) complain(label + " is empty; wanted: every route in the default profile");
    } else if (isList) {
      checkList(entry, label, *value);
    } else {
      checkText(entry, label, *value->text(), numberOr(entry["defaultLength"], 0));
      checkDistinct(entry, name, label, *value->text());
    }
  }

  std::string advice() const {
    return " in the default profile (give your own profile another name than \"" + _name + "\")";
  }

  void checkList(const ZORValue& entry, const std::string& label, const ZORValue& list) {
    const ZORValue& lengths = entry["defaultLengths"];
    if (_isDefault && list.size() != lengths.size()) {
      complain(label + " has " + std::to_string(list.size()) +
               " elements; wanted: " + std::to_string(lengths.size()) + advice());
    }
    for (std::size_t index = 0; index < list.size(); ++index) {
      if (!list[index].isText()) {
        complain(label + " holds a value of the kind " + kindName(list[index]) + "; wanted: texts");
        return;
      }
      checkText(entry, label, *list[index].text(), numberOr(lengths[index], 0));
    }
  }

  void checkText(const ZORValue& entry, const std::string& label, const std::string& text,
                 std::size_t defaultLength) {
    const std::size_t limit = numberOr(entry["maxBytes"], numberOr(schema()["maxBytes"], 0));
    const std::string size = std::to_string(text.size()) + " bytes";
    if (text.size() > limit) {
      complain(label + " has " + size + "; wanted: at most " + std::to_string(limit));
      return;
    }
    std::string filled = text;
    if (entry["places"].integer()) {
      checkPlaces(label, text, numberOr(entry["places"], 0));
      filled = replaced(text, "%@", "x");
    }
    const ZORValue& form = schema()["forms"][std::string_view(*entry["form"].text())];
    if (!hasForm(filled, form)) {
      const bool isSecret = entry["secret"] == true;
      complain(label + (isSecret ? " has " + size + " and another form" : " is \"" + text + "\"") +
               "; wanted: " + *form["wanted"].text());
    } else if (_isDefault && defaultLength != 0 && text.size() != defaultLength) {
      complain(label + " has " + size + "; wanted: " + std::to_string(defaultLength) + advice());
    }
  }

  // As the platform's formatter reads a format: "%%" is a percent sign, "%@" a place, and
  // everything else that begins with "%" a directive that takes an argument.
  void checkPlaces(const std::string& label, const std::string& text, std::size_t wanted) {
    const std::string rest = replaced(text, "%%", "");
    std::size_t places = 0;
    for (std::size_t at = 0; (at = rest.find('%', at)) != std::string::npos; at += 2) {
      if (rest.substr(at, 2) != "%@") {
        complain(label + " holds the directive \"" + rest.substr(at, 2) +
                 "\"; wanted: %@, and %% for a percent sign");
        return;
      }
      ++places;
    }
    if (places != wanted) {
      complain(label + " holds %@ " + std::to_string(places) +
               " times; wanted: " + std::to_string(wanted) + " times");
    }
  }

  void checkDistinct(const ZORValue& entry, const std::string& name, const std::string& label,
                     const std::string& text) {
    const std::string* dictionary = entry["dictionary"].text();
    if (dictionary == nullptr || text.empty()) return;
    const auto [taken, isNew] = _taken.try_emplace(*dictionary + ":" + text, name);
    if (isNew) return;
    complain(label + " is \"" + text + "\", as " + taken->second +
             " is; wanted: another key of the " + *dictionary);
  }

  const ZORValue& _texts;
  std::string _name;
  bool _isDefault = false;
  std::map<std::string, std::string> _taken;  // A dictionary's key to the entry that has it.
  std::vector<std::string> _problems;
};

std::string randomText(std::size_t length, const RandomNumbers& random) {
  // Printable ASCII without space, quote and backslash, which are hard to copy.
  std::string alphabet;
  for (char letter = '!'; letter <= '~'; ++letter) {
    if (letter != '"' && letter != '\\') alphabet += letter;
  }
  const auto count = static_cast<std::uint32_t>(alphabet.size());
  const std::uint32_t limit = UINT32_MAX / count * count;
  std::string text;
  while (text.size() < length) {
    const std::uint32_t number = random();
    if (number < limit) text += alphabet[number % count];  // For equal chances.
  }
  return text;
}

template <typename Block>
Block blockOf(const std::string& text) {
  Block block{};
  std::copy_n(text.begin(), block.size(), block.begin());
  return block;
}

std::string sealed(const std::string& text, const std::string& key, const std::string& vector) {
  Data bytes = utf8Bytes(text);
  bytes.resize((bytes.size() + kAesBlockBytes) / kAesBlockBytes * kAesBlockBytes, 0);
  const auto cipherText = ports().crypto.aes128Cbc(CipherOperation::encrypt, blockOf<AesKey>(key),
                                                   blockOf<AesBlock>(vector), bytes);
  return ports().crypto.base64Encode(cipherText.value_or(Data{}));
}

std::string originOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  return scheme == std::string::npos ? url : url.substr(0, url.find('/', scheme + 3));
}

// The path and query of the default profile's URL, after `origin`.
std::string withDefaultPath(const std::string& origin, const ZORValue& texts, const char* entry) {
  const std::string& url = *texts[entry].text();
  return origin + url.substr(originOf(url).size());
}

std::string nameFrom(const std::string& url) {
  const std::string origin = originOf(url);
  const std::size_t scheme = origin.find("://");
  std::string name = scheme == std::string::npos ? origin : origin.substr(scheme + 3);
  name = name.substr(0, name.find(':'));
  for (char& letter : name) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    if (letter == '.' || letter == '_') letter = '-';
  }
  name = name.substr(0, numberOr(schema()["name"]["maxBytes"], 0));
  while (!name.empty() && name.back() == '-') name.pop_back();
  return name;
}

}  // namespace

const std::vector<ProfileEntry>& profileEntries() {
  static const auto& entries = *[] {
    auto* made = new std::vector<ProfileEntry>;
    for (const ZORValue& entry : schema()["entries"].elements()) {
      made->push_back({*entry["name"].text(), *entry["role"].text(), entry["list"] == true,
                       entry["secret"] == true});
    }
    return made;
  }();
  return entries;
}

std::vector<std::string> problemsOfProfile(const ZORValue& document) {
  if (!document["texts"].isDictionary()) return {"there is no dictionary \"texts\""};
  return Checker(document).check();
}

std::string profileText(const ZORValue& document, std::string_view entry) {
  const ZORValue& value = document["texts"][entry];
  std::string text = textOr(value, "");
  for (const ZORValue& element : value.elements()) {
    text += (text.empty() ? "" : " ") + textOr(element, "");
  }
  return text;
}

std::optional<ZORValue> readProfile(const std::string& path, std::string& problem) {
  std::ifstream file(path, std::ios::binary);
  std::string text(kMaxFileBytes + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (!file.is_open() || file.bad() || text.size() > kMaxFileBytes) {
    problem = path + (file.is_open() && !file.bad() ? " is larger than 1 MiB" : " cannot be read");
    return std::nullopt;
  }
  auto document = valueFromJson(text);
  if (!document) {
    problem = path + " is not valid JSON";
    return std::nullopt;
  }
  problem.clear();
  for (const std::string& one : problemsOfProfile(*document)) {
    problem.append(problem.empty() ? "" : "\n").append(path).append(": ").append(one);
  }
  return problem.empty() ? std::move(document) : std::nullopt;
}

std::string textOfProfile(const ZORValue& document) {
  std::string text = "{\n  \"name\": " + jsonForDisplay(document["name"]) + ",\n";
  if (const ZORValue* consent = document.find("consentRequired")) {
    text += "  \"consentRequired\": " + jsonForDisplay(*consent) + ",\n";
  }
  text += "  \"texts\": {";
  const char* separator = "\n";
  for (const ProfileEntry& entry : profileEntries()) {
    const ZORValue* value = document["texts"].find(std::string_view(entry.name));
    if (value == nullptr) continue;
    text += separator + ("    \"" + entry.name + "\": ") + jsonForDisplay(*value);
    separator = ",\n";
  }
  return text + "\n  }\n}\n";
}

ZORValue makeProfile(const NewProfile& wishes, const RandomNumbers& random) {
  ZORValue document = ZORValue::orNull(valueFromJson(kDefaultProfileText));
  ZORValue texts = document["texts"];
  const std::string origin = originOf(wishes.service);
  const bool hasPath = wishes.service.size() > origin.size() + 1;
  const auto url = [&](const std::string& wish, const char* entry) {
    return wish.empty() ? withDefaultPath(origin, texts, entry) : wish;
  };
  texts.set("kFingerprintURL", url(hasPath ? wishes.service : "", "kFingerprintURL"));
  texts.set("kBackupURL", wishes.withoutBackup ? "" : url(wishes.backup, "kBackupURL"));
  texts.set("kPingbackURL", wishes.withoutPingback ? "" : url(wishes.pingback, "kPingbackURL"));
  texts.set("kHttpDnsAddresses", wishes.httpDnsAddresses);
  if (!wishes.httpDnsHost.empty()) texts.set("kHttpDnsHost", wishes.httpDnsHost);
  texts.set("kHttpDnsBootstrapFormat", "https://%@/resolve?dns=%@");
  document.set("name", wishes.name.empty() ? nameFrom(wishes.service) : wishes.name);
  document.set("texts", texts);
  rotateKeys(document, random);
  return document;
}

void rotateKeys(ZORValue& document, const RandomNumbers& random) {
  ZORValue texts = document["texts"];
  const std::string key = randomText(kKeyCharacters, random);
  const std::string vector = randomText(kKeyCharacters, random);
  texts.set("kTextCipherKey", key);
  texts.set("kTextCipherVector", vector);
  texts.set("kSealVector", randomText(kKeyCharacters, random));
  texts.set("kSigningKey", sealed(randomText(kSigningKeyCharacters, random), key, vector));
  document.set("texts", texts);
}

}  // namespace zor::profile
