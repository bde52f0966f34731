#include "mvlpfx/document_remarks.h"

#include "mvlpfx/document_fault.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

DocumentRemarks FindRemarks(std::span<const std::uint8_t> document) {
    DocumentRemarks remarks{CountBehind(document), std::nullopt};
    if (HidesKeys(document)) {
        remarks.hiddenFrom = FindIndefinite(document)->offset;
    }
    return remarks;
}

std::vector<std::string> LinesOf(const DocumentRemarks& remarks) {
    std::vector<std::string> lines;
    if (remarks.bytesBehind != 0) {
        lines.push_back(BehindText(remarks.bytesBehind));
    }
    if (remarks.hiddenFrom) {
        lines.push_back("keys lie in elements of indefinite length (BER), the first at offset " +
                        std::to_string(*remarks.hiddenFrom) + "; a restore refuses the document");
    }
    return lines;
}

void AddRemarks(const DocumentRemarks& remarks, nlohmann::ordered_json* report) {
    if (remarks.bytesBehind != 0) {
        (*report)["bytesBehind"] = remarks.bytesBehind;
    }
    if (remarks.hiddenFrom) {
        (*report)["indefiniteAt"] = *remarks.hiddenFrom;
    }
}

}  // namespace mvlpfx
