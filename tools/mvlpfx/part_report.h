// How info tells of the parts of a document.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "mvlpfx/document_outline.h"

namespace mvlpfx {

// {"kind", "type", "encryption", "length", "passedOver"}, less what it has not.
nlohmann::ordered_json JsonOfPart(const PartOutline& part);

// The same in one line of text.
std::string TextOfPart(const nlohmann::ordered_json& part);

// What its "passedOver" says, in a sentence.
std::string PassedOverText(const nlohmann::ordered_json& row);

}  // namespace mvlpfx
