// How a command's outcome is written.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

// The start of every JSON report: the schema's number, the command, null for none, and the file or
// object that the command is about, unless `subject` is empty.
nlohmann::ordered_json JsonReport(const std::string& command, const std::string& subject);

// The same of a command that did what it was asked for.
nlohmann::ordered_json JsonSuccess(const std::string& command, const std::string& subject);

// Adds the members of a failure, `exitCode` among them: each of them, null where there is nothing.
void AddFailure(nlohmann::ordered_json* report, const ToolError& error);

// The text with "?" in the place of each control character: names in documents and stores are
// others' words, and must not reach a terminal as commands.
std::string Printable(std::string text);

// "1 key", "2 keys"; the noun's plural ends in "s" alone.
std::string CountText(std::uint64_t count, const char* noun);

// Whether to tell what a command did: always where a signal waits to end the process, which leaves
// nobody else to know it.
bool IsTold(bool quiet);

// What is told of a document that has so many bytes behind its end.
std::string BehindText(std::uint64_t bytes);

// One line of JSON on standard output. A signal that waits to end the process has its exit code.
void PrintJson(nlohmann::ordered_json report);

// A failure: on standard error what happened, what else there is to tell and what to do; or a
// report on standard output for --json. What the layers below told the system's log is told with
// it, where the failure may be theirs. `subject` is the file or object at which the command
// failed, or empty.
void PrintFailure(const std::string& command, const std::string& subject, const ToolError& error,
                  bool json);

}  // namespace mvlpfx
