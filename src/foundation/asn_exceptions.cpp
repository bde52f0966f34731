#include "foundation/asn_exceptions.h"

#include <boost/lexical_cast.hpp>

namespace pkisdk::asn {

namespace {

enum Code : std::uint32_t {
    kNone = 0,
    kBadAsnData = 0x0A000001,
    kNotEnoughMemoryForAsnBlob = 0x0A000002,
    kBadConversion = 0x0A000003,
    kBadAsnContent = 0x0A000004,
    kUnexpactedAsnIdentifier = 0x0A000005,
};

std::string Decimal(std::int32_t value) {
    return boost::lexical_cast<std::string>(value);
}

std::string ContextPart(const std::string& context) {
    return context.empty() ? std::string() : "Context: \"" + context + "\". ";
}

std::string ObjectPart(const IAsnObjectPlace* object) {
    if (object == nullptr) {
        return {};
    }
    const std::int32_t offset = object->GetPlaceOffset();
    return "Object: offset - " + Decimal(offset < 0 ? -1 : offset) + "; identifier - \"" +
           object->GetPlaceIdentifierName() + "\".";
}

// The words " Data is empty." belong to a position of 3 outside the blob. That it is past the end
// is said first, so they never appear; a negative position has no words.
std::string CursorPart(const BlobCursor& cursor) {
    if (cursor.position < 0) {
        return {};
    }
    if (static_cast<std::uint64_t>(cursor.position) >= cursor.blob->GetSize()) {
        return " Unexpacted end of asn data.";
    }
    return " Error in position " + Decimal(cursor.position) + ".";
}

std::string CurrentName(const IAsnObjectPlace* object) {
    return object == nullptr ? std::string() : object->GetPlaceIdentifierName();
}

}  // namespace

BadAsnData::BadAsnData(const BlobCursor& cursor, const std::string& location)
    : AsnException(kBadAsnData, location + " Bad ASN data." + CursorPart(cursor)) {}

BadAsnData::BadAsnData(const IAsnObjectPlace* object, const std::string& location,
                       const std::string& detail, const std::string& context)
    : AsnException(kNone,
                   location + " " + ContextPart(context) + detail + ObjectPart(object) + " ") {}

NotEnoughMemoryForAsnBlob::NotEnoughMemoryForAsnBlob(const std::string& location)
    : AsnException(kNotEnoughMemoryForAsnBlob, location + " Not enough memory for ASN blob.") {}

BadConversion::BadConversion(const IAsnObjectPlace* object, const std::string& typeName,
                             const std::string& location, const std::string& context)
    : AsnException(kBadConversion, location + " Can't read cantent as " + typeName + ". " +
                                       ContextPart(context) + ObjectPart(object) + " ") {}

BadAsnContent::BadAsnContent(const IAsnObjectPlace* object, const std::string& location,
                             const std::string& detail, const std::string& context)
    : AsnException(kBadAsnContent, location + " Bad ASN object content. " + detail + " " +
                                       ContextPart(context) + ObjectPart(object) + " ") {}

UnexpactedAsnIdentifier::UnexpactedAsnIdentifier(const IAsnObjectPlace* object,
                                                 const std::string& expected,
                                                 const std::string& location,
                                                 const std::string& context)
    : AsnException(kUnexpactedAsnIdentifier,
                   location + " Unexpactid ASN identifier: current is \"" + CurrentName(object) +
                       "\", but expacted \"" + expected + "\". " + ContextPart(context) +
                       ObjectPart(object) + " ") {}

}  // namespace pkisdk::asn
