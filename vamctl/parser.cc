#include "vamctl/parser.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "command_line/program.h"
#include "command_line/values.h"
#include "command_line/words.h"
#include "interface/trusted_application.h"
#include "vamctl/ak_record.h"
#include "vamctl/commands.h"

namespace vam {

namespace {

/// A mode of the update commands that has a name.
struct NamedMode {
  const char* name;
  std::int32_t mode;
};

constexpr NamedMode kModes[] = {
    {"image", kReportFileSystem}, {"update", kUpdateAll}, {"chip", kReportChip}};

CLI::App* AddSubcommand(CLI::App& program, const char* name, const char* description,
                        Request& request) {
  CLI::App* subcommand = program.add_subcommand(name, description);
  subcommand
      ->add_flag("--json", request.asJson,
                 "Answer with one JSON object; the console lines go to standard error")
      ->disable_flag_override();
  return subcommand;
}

void AddRecord(CLI::App* subcommand, Request& request) {
  const auto path = std::make_shared<std::string>();
  const auto digits = std::make_shared<std::string>();
  CLI::Option* file = subcommand->add_option(
      "RECORD", *path, "File with the record's bytes; - reads them from standard input");
  TakeNamed(file, kFileType);
  CLI::Option* hex =
      subcommand->add_option("--hex", *digits, "The record's bytes as hexadecimal digits")
          ->type_name("DIGITS");
  file->excludes(hex);
  subcommand->callback([&request, file, hex, path, digits] {
    if (file->empty() && hex->empty()) {
      throw CLI::RequiredError("RECORD or --hex");
    }
    try {
      request.recordIsInput = *path == kStandardStream;
      request.record = hex->empty() ? ReadAkRecord(*path) : DecodeAkRecord(*digits);
    } catch (const std::runtime_error& error) {
      throw Refusal(error.what());
    }
  });
}

void AddMode(CLI::App* subcommand, Request& request) {
  std::string type;
  for (const NamedMode& each : kModes) {
    type += std::string(each.name) + "|";
  }
  subcommand
      ->add_option(
          "MODE",
          [&request](const CLI::results_t& words) {
            const std::string& word = words.front();
            for (const NamedMode& each : kModes) {
              if (word == each.name) {
                request.mode = each.mode;
                return true;
              }
            }
            const std::optional<std::int64_t> number =
                WholeNumber(word, std::numeric_limits<std::int32_t>::min(),
                            std::numeric_limits<std::int32_t>::max());
            if (!number) {
              throw CLI::ValidationError(
                  "MODE", Quoted(word) +
                              " is no mode; give image (7), update (3), chip (11) or another "
                              "whole number of 32 bits" +
                              Suggestion(word, {"image", "update", "chip"}));
            }
            request.mode = static_cast<std::int32_t>(*number);
            return true;
          },
          "image (7) reports the image's versions, update (3) updates the chip, chip (11) reports "
          "its versions; any other number is sent as it is")
      ->type_name(type + "NUMBER")
      ->required();
}

void AddArguments(CLI::App* subcommand, Arguments arguments, Request& request) {
  switch (arguments) {
    case Arguments::kNone:
      break;
    case Arguments::kRecord:
      AddRecord(subcommand, request);
      break;
    case Arguments::kMode:
      AddMode(subcommand, request);
      break;
    case Arguments::kCount:
      TakeNumber(subcommand
                     ->add_option("--count", request.count,
                                  "How many words to show; those that the chip does not send are 0")
                     ->capture_default_str(),
                 1, kSharedBlockSize / sizeof(std::uint32_t));
      break;
    case Arguments::kSize:
      TakeNumber(
          subcommand
              ->add_option(
                  "--size", request.size,
                  "How many bytes to show; a longer record is cut, a shorter one ends in zeros")
              ->required(),
          0, kSharedBlockSize);
      break;
  }
}

}  // namespace

void AddCommands(CLI::App& program, Request& request) {
  for (const Command& command : Commands()) {
    CLI::App* subcommand = AddSubcommand(program, command.name, command.description, request);
    subcommand->parse_complete_callback([&request, &command] { request.command = &command; });
    if (command.danger != nullptr) {
      subcommand->add_flag("--yes", request.confirmed, "Do not ask whether the chip may be changed")
          ->disable_flag_override();
    }
    AddArguments(subcommand, command.arguments, request);
  }
  AddSubcommand(program, "verdict", "Say in words what the update tool left in its status files",
                request);
}

}  // namespace vam
