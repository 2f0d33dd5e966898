// Writes what is disclosed about the report, made from the table of entries.
//
// usage: make_disclosure markdown|json|manifest
#include <cstdio>
#include <cstring>
#include <string>

#include "collector/disclosure.h"

namespace zor {
namespace {

void print(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

std::string identifiedText(unsigned identifies) {
  std::string text;
  const auto add = [&](unsigned what, const char* word) {
    if ((identifies & what) == 0) return;
    if (!text.empty()) text += ", ";
    text += word;
  };
  add(kDevice, "device");
  add(kPerson, "person");
  add(kPlace, "place");
  return text;
}

void printMarkdownTable(bool sealed) {
  print(
      "| name | what it says | on Linux from | on macOS from | identifies | what it is for |\n"
      "|---|---|---|---|---|---|\n");
  for (const Disclosure& row : kDisclosures) {
    if (row.sealed != sealed) continue;
    const std::string identifies = identifiedText(row.identifies);
    print("| `" + std::string(row.name) + "` | " + std::string(row.says) + " | " +
          std::string(row.onLinux) + " | " + std::string(row.onMacOS) + " | " +
          (identifies.empty() ? "nobody by itself" : identifies) + " | " +
          std::string(row.purpose) + " |\n");
  }
}

void printMarkdown() {
  print(
      "# What the library discloses\n\n"
      "Made from `src/literals/report_entries.def` by `scripts/check-generated --update`; change "
      "it "
      "there.\n\n"
      "A report goes to the operator's fingerprint service when no valid fingerprint is cached. It "
      "has these entries; a host\nmay withhold each of them by its name. `zorfp report --explain` "
      "shows the values of this machine.\n\n");
  printMarkdownTable(/*sealed=*/false);
  print(
      "\n## Inside the sealed block\n\nThese entries leave the machine encrypted, as one "
      "text.\n\n");
  printMarkdownTable(/*sealed=*/true);
  print(
      "\n## Beside the report\n\n"
      "- Failure records: what failed, with which status, the application and its version, and the "
      "fingerprint. Uploaded at most\n  once a day; no entry of the report is in them.\n"
      "- The list of backup addresses is fetched with each request; nothing about the machine is "
      "sent for it.\n"
      "- HTTPDNS is asked for the service's address when the service cannot be reached by name; it "
      "learns that name.\n");
}

// The texts of the table need no escapes but these two.
std::string quoted(std::string_view text) {
  std::string json = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') json += '\\';
    json += character;
  }
  return json + '"';
}

std::string identifiedList(unsigned identifies) {
  std::string list;
  const auto add = [&](unsigned what, const char* word) {
    if ((identifies & what) == 0) return;
    if (!list.empty()) list += ", ";
    list += quoted(word);
  };
  add(kDevice, "device");
  add(kPerson, "person");
  add(kPlace, "place");
  return "[" + list + "]";
}

void printJson() {
  print("[\n");
  bool first = true;
  for (const Disclosure& row : kDisclosures) {
    if (!first) print(",\n");
    first = false;
    print("  {\"name\": " + quoted(row.name) + ", \"sealed\": " + (row.sealed ? "true" : "false") +
          ", \"identifies\": " + identifiedList(row.identifies) + ",\n   \"says\": " +
          quoted(row.says) + ",\n   \"sources\": {\"linux\": " + quoted(row.onLinux) +
          ", \"macos\": " + quoted(row.onMacOS) + "},\n   \"purpose\": " + quoted(row.purpose) +
          "}");
  }
  print("\n]\n");
}

// One data type of the manifest, with the entries that it stands for.
void printManifestType(const char* type, const std::string& entries) {
  print("    <!-- " + entries +
        " -->\n    <dict>\n      <key>NSPrivacyCollectedDataType</key>\n"
        "      <string>NSPrivacyCollectedDataType" +
        type +
        "</string>\n      <key>NSPrivacyCollectedDataTypeLinked</key>\n      <true/>\n"
        "      <key>NSPrivacyCollectedDataTypeTracking</key>\n      <false/>\n"
        "      <key>NSPrivacyCollectedDataTypePurposes</key>\n      <array>\n"
        "        <string>NSPrivacyCollectedDataTypePurposeAppFunctionality</string>\n"
        "      </array>\n    </dict>\n");
}

// The names of the entries that identify `what`; those that identify nobody for 0.
std::string namesOf(unsigned what) {
  std::string names;
  for (const Disclosure& row : kDisclosures) {
    if (what == kNobody ? row.identifies != kNobody : (row.identifies & what) == 0) continue;
    names += names.empty() ? std::string(row.name) : ", " + std::string(row.name);
  }
  return names;
}

void printManifest() {
  print(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<!-- Made from src/literals/report_entries.def; change it there. -->\n"
      "<plist version=\"1.0\">\n<dict>\n  <key>NSPrivacyTracking</key>\n  <false/>\n"
      "  <key>NSPrivacyTrackingDomains</key>\n  <array/>\n"
      "  <key>NSPrivacyCollectedDataTypes</key>\n  <array>\n");
  printManifestType("DeviceID", namesOf(kDevice));
  printManifestType("UserID", namesOf(kPerson));
  printManifestType("CoarseLocation", namesOf(kPlace));
  printManifestType("OtherDataTypes", namesOf(kNobody));
  printManifestType("OtherDiagnosticData",
                    "the library's own failures: what failed, with which status, the fingerprint");
  print("  </array>\n  <key>NSPrivacyAccessedAPITypes</key>\n  <array/>\n</dict>\n</plist>\n");
}

}  // namespace
}  // namespace zor

int main(int argumentCount, char** arguments) {
  const std::string_view what = argumentCount == 2 ? arguments[1] : "";
  if (what == "markdown") zor::printMarkdown();
  if (what == "json") zor::printJson();
  if (what == "manifest") zor::printManifest();
  return what == "markdown" || what == "json" || what == "manifest" ? 0 : 2;
}
