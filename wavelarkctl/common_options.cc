#include "wavelarkctl/common_options.h"

#include <CLI/App.hpp>

namespace orvane::wavelarkctl {

void AddRepeatedOption(CLI::App& command, const std::string& name, std::vector<std::string>* values,
                       const std::string& help, const std::string& value) {
  command.add_option(name, *values, help + "; may be repeated")
      ->option_text(value)
      ->allow_extra_args(false);
}

void RefuseEmpty(CLI::Option* option) {
  option->check([](const std::string& text) {
    return std::string(text.empty() ? "the value is empty" : "");
  });
}

void AddDatabaseOption(CLI::App& command, platform::FilePath* path) {
  RefuseEmpty(
      command
          .add_option("--database", *path, WithDefault("The recorder's database", path->native()))
          ->option_text("FILE"));
}

void AddSaltOption(CLI::App& command, platform::FilePath* path) {
  RefuseEmpty(command
                  .add_option("--salt", *path,
                              WithDefault("The salt that hashes addresses", path->native()))
                  ->option_text("FILE"));
}

void AddSetOption(CLI::App& command, std::vector<std::string>* assignments) {
  AddRepeatedOption(
      command, "--set", assignments,
      "Set a numeric steering flag of the daemon, by its name or its key in the flags service",
      "FLAG=VALUE");
}

}  // namespace orvane::wavelarkctl
