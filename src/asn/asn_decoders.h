// The content of a primitive object as a value.
//
// `object` holds the object to be read. Messages carry no context: the object's own place tells
// where they arose. Each decoder throws BadAsnData where the object passes the end of its blob.
#pragma once

#include <cstdint>
#include <string>

#include "asn/asn_object_readable.h"
#include "foundation/object_id.h"

namespace pkisdk::asn {

// An INTEGER or ENUMERATED of one to four octets. A negative one is extended into the unsigned
// value. Throws BadConversion for another type, BadAsnData for no octets or more.
void ReadAsnInteger(const AsnObjectHandle& object, std::uint32_t* value);

// Throws BadConversion for another type, BadAsnData for octets that have no text; they are stored
// all the same.
void ReadAsnObjectId(const AsnObjectHandle& object, ObjectId* value);

// A UTF8String, IA5String, NumericString or PrintableString, as UTF-8. Throws BadConversion for
// another type.
void ReadAsnUtf8String(const AsnObjectHandle& object, std::wstring* value);

// Any type, as text of the user's locale.
void ReadAsnByteString(const AsnObjectHandle& object, std::wstring* value);

// Any type, as 16-bit units, high octet first. Throws AsnException for an odd count of octets.
void ReadAsnBmpString(const AsnObjectHandle& object, std::wstring* value);

}  // namespace pkisdk::asn
