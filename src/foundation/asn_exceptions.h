// How the object framework says what went wrong: where, what, in whose context, at which object.
//
// `location` names the routine in square brackets. `context` is the path that the caller set around
// the read, and may be empty. `object` is the object being read, or null. The misspelt words in the
// messages are part of them: callers and logs compare whole texts.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob_cursor.h"
#include "foundation/exception.h"

namespace pkisdk::asn {

// What a message tells of an object: where it begins and what identifier it bears. Implemented by
// the read cursor, which the foundations do not know.
class IAsnObjectPlace {
  public:
    virtual ~IAsnObjectPlace() = default;
    // Position of the first identifier octet in its blob; negative when the object has none.
    virtual std::int32_t GetPlaceOffset() const = 0;
    // What messages call the identifier.
    virtual std::string GetPlaceIdentifierName() const = 0;

  protected:
    IAsnObjectPlace() = default;
    IAsnObjectPlace(const IAsnObjectPlace&) = default;
    IAsnObjectPlace& operator=(const IAsnObjectPlace&) = default;
};

// What the object framework throws: any failure below, or one without a class of its own.
class AsnException : public Exception {
  public:
    using Exception::Exception;
};

// The octets end or go wrong.
class BadAsnData : public AsnException {
  public:
    // Tells the cursor's position, or that the data ended there.
    BadAsnData(const BlobCursor& cursor, const std::string& location);
    // `detail` is a whole sentence. `code` is 0.
    BadAsnData(const IAsnObjectPlace* object, const std::string& location,
               const std::string& detail, const std::string& context);
};

// The content does not fit the buffer it is written to.
class NotEnoughMemoryForAsnBlob : public AsnException {
  public:
    explicit NotEnoughMemoryForAsnBlob(const std::string& location);
};

// The object is not of the type that is asked for.
class BadConversion : public AsnException {
  public:
    BadConversion(const IAsnObjectPlace* object, const std::string& typeName,
                  const std::string& location, const std::string& context);
};

// The object is of the right type, but its content makes no sense. `detail` is a whole sentence.
class BadAsnContent : public AsnException {
  public:
    BadAsnContent(const IAsnObjectPlace* object, const std::string& location,
                  const std::string& detail, const std::string& context);
};

// Another identifier than the schema's. `expected` is the name of the one it wants.
class UnexpactedAsnIdentifier : public AsnException {
  public:
    UnexpactedAsnIdentifier(const IAsnObjectPlace* object, const std::string& expected,
                            const std::string& location, const std::string& context);
};

}  // namespace pkisdk::asn
