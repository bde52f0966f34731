// How a command's outcome is written.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

// The start of every JSON report: the schema's number and the command.
nlohmann::ordered_json JsonReport(const std::string& command);

// The text with "?" in the place of each control character: names in documents and stores are
// others' words, and must not reach a terminal as commands. Line ends stay where `keepsLines`.
std::string Printable(std::string text, bool keepsLines = false);

// One line of JSON on standard output.
void PrintJson(const nlohmann::ordered_json& report);

// A failure: a line on standard error, or a report on standard output for --json. `subject` is the
// file or object at which the command failed, or empty.
void PrintFailure(const std::string& command, const std::string& subject, const ToolError& error,
                  bool json);

}  // namespace mvlpfx
