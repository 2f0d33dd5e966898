// zorfp-profile: makes, checks, shows, compares and renews operators' profiles.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "platform/ports.h"
#include "profile_tool/operator_profile.h"

namespace zor::profile {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;  // For diff: the profiles differ.
constexpr int kWrongUsage = 2;

int fail(const std::string& message) {
  std::cerr << "zorfp-profile: " << message << "\n";
  return kFailed;
}

std::uint32_t randomNumber() { return ports().random.randomNumber(); }

// Writes a file that must not exist yet, readable for its owner alone. Returns what went wrong; the
// file then does not exist.
std::string writeNewFile(const std::string& path, const std::string& text) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) return path + " cannot be created: " + std::strerror(errno);
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = ::write(file, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  const bool synced = written == text.size() && ::fsync(file) == 0;
  const int error = errno;
  if (::close(file) == 0 && synced) return "";
  ::unlink(path.c_str());
  return path + " cannot be written: " + std::strerror(error);
}

int make(const std::string& path, const NewProfile& wishes) {
  const ZORValue document = makeProfile(wishes, randomNumber);
  const auto problems = problemsOfProfile(document);
  for (const std::string& problem : problems) fail(problem);
  if (!problems.empty()) return kFailed;
  if (const std::string problem = writeNewFile(path, textOfProfile(document)); !problem.empty()) {
    return fail(problem);
  }
  std::cout << "Made " << path << " with fresh keys, readable for you alone.\n";
  return kDone;
}

int check(const std::string& path) {
  std::string problem;
  const auto document = readProfile(path, problem);
  if (!document) return fail(problem);
  std::cout << path << ": profile \"" << *(*document)["name"].text() << "\", "
            << profileEntries().size() << " entries, nothing is wrong.\n";
  return kDone;
}

std::string shownText(const ZORValue& document, const ProfileEntry& entry, bool withKeys) {
  std::string text = profileText(document, entry.name);
  if (!entry.isSecret || withKeys) return text;
  return "(" + std::to_string(text.size()) + " bytes)";
}

int show(const std::string& path, bool withKeys) {
  std::string problem;
  const auto document = readProfile(path, problem);
  if (!document) return fail(problem);
  std::cout << "name: " << *(*document)["name"].text() << "\n";
  for (const ProfileEntry& entry : profileEntries()) {
    std::cout << entry.name << ": " << shownText(*document, entry, withKeys) << "    # "
              << entry.role << "\n";
  }
  return kDone;
}

int compare(const std::string& left, const std::string& right, bool withKeys) {
  std::string problem;
  const auto before = readProfile(left, problem);
  if (!before)
    return fail(problem) + 1;  // As of diff(1): 1 says that they differ, 2 that it failed.
  const auto after = readProfile(right, problem);
  if (!after) return fail(problem) + 1;
  bool differ = false;
  const auto print = [&differ](const std::string& name, const std::string& old,
                               const std::string& now) {
    differ = true;
    std::cout << name << "\n  - " << old << "\n  + " << now << "\n";
  };
  if ((*before)["name"] != (*after)["name"]) {
    print("name", *(*before)["name"].text(), *(*after)["name"].text());
  }
  if ((*before)["consentRequired"] != (*after)["consentRequired"]) {
    print("consentRequired", (*before)["consentRequired"] == true ? "true" : "false",
          (*after)["consentRequired"] == true ? "true" : "false");
  }
  for (const ProfileEntry& entry : profileEntries()) {
    if (profileText(*before, entry.name) == profileText(*after, entry.name)) continue;
    print(entry.name, shownText(*before, entry, withKeys), shownText(*after, entry, withKeys));
  }
  return differ ? kFailed : kDone;
}

int rotate(const std::string& path) {
  std::string problem;
  auto document = readProfile(path, problem);
  if (!document) return fail(problem);
  rotateKeys(*document, randomNumber);
  const std::string unfinished = path + ".new";
  problem = writeNewFile(unfinished, textOfProfile(*document));
  if (!problem.empty()) return fail(problem);
  if (std::rename(unfinished.c_str(), path.c_str()) != 0) {
    problem = path + " cannot be replaced: " + std::strerror(errno);
    ::unlink(unfinished.c_str());
    return fail(problem);
  }
  std::cout << path << " has fresh keys. Clients with the old keys keep using them: serve both "
            << "until the last such client is gone.\n";
  return kDone;
}

void addNew(CLI::App& app, std::string& path, NewProfile& wishes) {
  CLI::App* sub = app.add_subcommand("new", "Make a profile with fresh keys");
  sub->add_option("FILE", path, "The file to create; must not exist")->required();
  sub->add_option("--service", wishes.service, "https URL of the fingerprint service")->required();
  sub->add_option("--name", wishes.name, "Short name; otherwise made from the service's host");
  sub->add_option("--backup", wishes.backup, "URL of the backup list; otherwise on the same host");
  sub->add_flag("--no-backup", wishes.withoutBackup, "Leave the backup list out");
  sub->add_option("--pingback", wishes.pingback,
                  "URL of the failure records' upload; otherwise on the same host");
  sub->add_flag("--no-pingback", wishes.withoutPingback, "Leave the upload out");
  sub->add_option("--httpdns-host", wishes.httpDnsHost, "Host name of the HTTPDNS service");
  auto* host = sub->get_option("--httpdns-host");
  sub->add_option("--httpdns-address", wishes.httpDnsAddresses,
                  "One of its fixed addresses; repeatable. Without any, HTTPDNS is off")
      ->allow_extra_args(false)
      ->needs(host);
}

int run(int argumentCount, char** argumentValues) {
  std::string path;
  std::string other;
  bool withKeys = false;
  NewProfile wishes;
  CLI::App app("Makes, checks, shows, compares and renews operators' profiles.", "zorfp-profile");
  app.require_subcommand(1);
  addNew(app, path, wishes);
  const auto add = [&app, &path](const char* name, const char* description) {
    CLI::App* sub = app.add_subcommand(name, description);
    sub->add_option("FILE", path, "The profile")->required();
    return sub;
  };
  add("check", "List everything that is wrong with a profile");
  add("show", "Show a profile")->add_flag("--keys", withKeys, "Show its keys too");
  CLI::App* diff = add("diff", "Show what differs between two profiles; status 1 if anything does");
  diff->add_option("OTHER", other, "The other profile")->required();
  diff->add_flag("--keys", withKeys, "Show keys that differ");
  add("rotate", "Give a profile fresh keys");
  try {
    app.parse(argumentCount, argumentValues);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }
  const std::string command = app.get_subcommands().front()->get_name();
  if (command == "new") return make(path, wishes);
  if (command == "check") return check(path);
  if (command == "show") return show(path, withKeys);
  return command == "diff" ? compare(path, other, withKeys) : rotate(path);
}

}  // namespace
}  // namespace zor::profile

int main(int argumentCount, char** argumentValues) {
  try {
    return zor::profile::run(argumentCount, argumentValues);
  } catch (const std::exception& error) {
    return zor::profile::fail(error.what());
  }
}
