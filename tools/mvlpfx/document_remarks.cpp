#include "mvlpfx/document_remarks.h"

#include "mvlpfx/document_fault.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

DocumentRemarks FindRemarks(std::span<const std::uint8_t> document) {
    DocumentRemarks remarks{CountBehind(document), std::nullopt};
    if (const auto place = FindIndefinite(document)) {
        remarks.indefiniteAt = place->offset;
    }
    return remarks;
}

std::vector<std::string> LinesOf(const DocumentRemarks& remarks) {
    std::vector<std::string> lines;
    if (remarks.bytesBehind != 0) {
        lines.push_back(BehindText(remarks.bytesBehind));
    }
    if (remarks.indefiniteAt) {
        lines.push_back(
            "elements of indefinite length (BER) are not looked into, the first at "
            "offset " +
            std::to_string(*remarks.indefiniteAt) + "; a restore refuses them");
    }
    return lines;
}

void AddRemarks(const DocumentRemarks& remarks, nlohmann::ordered_json* report) {
    if (remarks.bytesBehind != 0) {
        (*report)["bytesBehind"] = remarks.bytesBehind;
    }
    if (remarks.indefiniteAt) {
        (*report)["indefiniteAt"] = *remarks.indefiniteAt;
    }
}

}  // namespace mvlpfx
