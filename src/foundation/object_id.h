// Object identifiers: dotted text in the code, content octets in documents.
//
// A text holds at most 255 characters. The first two arcs share one octet, so the second is at most
// 39 under every first arc; each later arc is a non-negative signed 32-bit number.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob.h"

namespace pkisdk {

// Text to content octets. `out` may be null to learn `*outSize` alone, else it must have room for
// the size so learnt. Answers false on bad text and writes nothing. An arc without digits is 0 and
// one closing point is passed over.
bool OidTextToOctets(const char* text, std::uint8_t* out, std::uint32_t* outSize);

// Content octets to text. With a null `out`, `*outSize` takes the size with terminator. Otherwise
// `*outSize` is the room at `out`; if it is too small it takes the needed size, the last error is
// set to ERROR_MORE_DATA and the answer is false. A last arc that is cut short is left out.
// Arcs past 32 bits wrap and print as signed numbers.
bool OidOctetsToText(const std::uint8_t* data, std::int32_t size, char* out,
                     std::uint32_t* outSize);

// The same over owning types. Answer 1, or 0 and leave `out` alone. A NUL is a character of the
// text like any other, and a bad one. Octets past a signed 32-bit count have no text.
int OidTextToBlob(std::string text, Blob* out);
int OidBlobToText(Blob octets, std::string* out);

// The content octets of one identifier, without tag and length; none is legal and is no identifier.
class ObjectId {
  public:
    // Clears `target` and writes the octets of `text` to it; empty text leaves it empty. Throws
    // Exception on bad text.
    static void SetText(const std::string& text, Blob* target);
    void SetText(const std::string& text) { SetText(text, &octets_); }
    // Stores the octets, then throws Exception if they have no text; they stay stored.
    void SetOctets(Blob octets);
    // Throws Exception if the octets have no text.
    void GetText(std::string* text) const;

    const Blob& GetOctets() const { return octets_; }

    friend bool operator==(const ObjectId&, const ObjectId&) = default;

  private:
    Blob octets_;
};

}  // namespace pkisdk
