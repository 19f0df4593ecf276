#include "wavelarkctl/check/unit_files.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <utility>

#include "platform/text.h"
#include "wavelarkctl/check/bus_probe.h"

namespace orvane::wavelarkctl {
namespace {

constexpr char kFamilies[] = "RestrictAddressFamilies";

// The directories of units. A file replaces the files of the same name in later directories.
constexpr std::array<std::string_view, 4> kDirectories = {
    "/etc/systemd/system", "/run/systemd/system", "/usr/local/lib/systemd/system",
    "/usr/lib/systemd/system"};

class UnitSettings {
 public:
  void Read(std::istream& file) {
    for (std::string line; std::getline(file, line);) {
      const std::string_view text = platform::TrimWhitespace(line);
      const std::size_t equals = text.find('=');
      if (equals == std::string_view::npos || text.starts_with('#') || text.starts_with(';')) {
        continue;
      }
      const std::string key(platform::TrimWhitespace(text.substr(0, equals)));
      std::string value(platform::TrimWhitespace(text.substr(equals + 1)));
      while (value.ends_with('\\') && std::getline(file, line)) {
        value.back() = ' ';
        value += platform::TrimWhitespace(line);
      }
      Set(key, value);
    }
  }

  std::map<std::string, std::string> Take() { return std::move(values_); }

 private:
  void Set(const std::string& key, std::string_view value) {
    if (key == kFamilies) {
      MergeFamilies(value);
      values_[key] = FamiliesText(is_allow_list_, families_);
    } else {
      values_[key] = value;
    }
  }

  // The first list decides whether it allows or forbids. A later one of the same kind adds to it,
  // one of the other kind removes from it. An empty value ends it, as does "none", which allows
  // nothing until the next list.
  void MergeFamilies(std::string_view value) {
    const bool forbids = value.starts_with('~');
    if (value.empty() || value == "none") {
      families_.clear();
      has_list_ = false;
      is_allow_list_ = !value.empty();
      return;
    }
    if (!has_list_) is_allow_list_ = !forbids;
    has_list_ = true;
    std::istringstream names{std::string(value.substr(forbids ? 1 : 0))};
    for (std::string name; names >> name;) {
      if (forbids == is_allow_list_) {
        families_.erase(name);
      } else {
        families_.insert(name);
      }
    }
  }

  std::map<std::string, std::string> values_;
  bool has_list_ = false;
  bool is_allow_list_ = false;
  std::set<std::string> families_;
};

}  // namespace

std::map<std::string, std::string> ReadUnitFiles(const Machine& machine, std::string_view unit) {
  std::string unit_file;
  std::map<std::string, std::string> files;  // by name: the order of systemd
  for (const std::string_view directory : kDirectories) {
    const std::string file = fmt::format("{}/{}", directory, unit);
    if (unit_file.empty() && machine.Look(file).IsThere()) unit_file = file;
    for (const std::string& drop_in : machine.ListConfigurations(file + ".d")) {
      files.emplace(std::filesystem::path(drop_in).filename(), drop_in);
    }
  }
  if (!unit_file.empty()) files.emplace("", unit_file);  // the first
  UnitSettings settings;
  for (const auto& [name, path] : files) {
    std::ifstream file(machine.At(path));
    settings.Read(file);
  }
  return settings.Take();
}

}  // namespace orvane::wavelarkctl
