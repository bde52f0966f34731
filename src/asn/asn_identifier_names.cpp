#include <boost/format.hpp>
#include <boost/lexical_cast.hpp>
#include <locale>

#include "asn/asn_identifier.h"

namespace pkisdk::asn {

namespace {

struct UniversalName {
    std::uint8_t firstOctet;
    const char* name;
};

constexpr UniversalName kUniversalNames[] = {
    {0, "Eoc"},
    {1, "Boolean"},
    {2, "Integer"},
    {3, "BitString"},
    {4, "OctetString"},
    {5, "Null"},
    {6, "ObjectId"},
    {7, "ObjectDescriptor"},
    {8, "External"},
    {9, "Real"},
    {10, "Enumerated"},
    {12, "Utf8String"},
    {18, "NumericString"},
    {19, "PrintableString"},
    {20, "T61String"},
    {21, "VideotexString"},
    {22, "IA5String"},
    {23, "UtcTime"},
    {24, "GeneralizedTime"},
    {25, "GrapicString"},
    {26, "Iso64String"},
    {27, "GeneralString"},
    {28, "UniversalString"},
    {30, "BmpString"},
    {48, "Sequence"},
    {49, "Set"},
};

}  // namespace

const char* GetUniversalTagName(std::uint8_t firstOctet) {
    for (const UniversalName& type : kUniversalNames) {
        if (type.firstOctet == firstOctet) {
            return type.name;
        }
    }
    return "";
}

std::string GetAsnIdentifierName(const AsnIdentifier& identifier) {
    std::string name;
    if (identifier.IsUniversal()) {
        name = GetUniversalTagName(identifier.firstOctet);
    } else if (identifier.IsContextSpecific() && identifier.IsConstructed()) {
        name = "Optional with tag=" + boost::lexical_cast<std::string>(identifier.tagNumber);
    }
    if (name.empty()) {
        const int number = identifier.firstOctet;
        name = (boost::format("%02d", std::locale::classic()) % number).str();
    }
    return name;
}

}  // namespace pkisdk::asn
