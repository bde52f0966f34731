// Arbitrary bytes as every schema class: what reads is written, and read again to the same fields.
// The bytes are also walked as a bare tree of elements.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "asn/asn_string.h"
#include "support/der_mutator.h"
#include "support/schema_fields.h"

namespace {

using pkisdk::Blob;
namespace asn = pkisdk::asn;

template <typename T>
T Reread(const Blob& blob) {
    T object;
    object.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(blob), "");
    return object;
}

template <typename T>
void ForgetUnwritten(T*) {}
// A bag without a key is written without the rest of its key information too.
void ForgetUnwritten(PfxKeyBag* bag) {
    if (bag->pfxKeyInfo.encrKey.IsEmpty()) {
        bag->pfxKeyInfo.Clear();
        bag->pfxKeyInfo.PBES2Sheme.KezDeriv.additionalInfo.Hparams.Clear();
    }
}

template <typename T>
void RoundTrip(const Blob& input) {
    T object;
    try {
        object = Reread<T>(input);
    } catch (const asn::AsnException&) {
        return;
    }
    ForgetUnwritten(&object);
    Blob written;
    object.SerializeToAsnNode({})->Serialize(&written);
    const T again = Reread<T>(written);
    Blob rewritten;
    again.SerializeToAsnNode({})->Serialize(&rewritten);
    if (!(again == object) || !(rewritten == written)) {
        std::abort();
    }
}

// As text, or else as octets. An element that has neither is passed over.
void ReadPrimitive(const asn::AsnObjectHandle& object) {
    std::wstring text;
    asn::AsnString member(".text", &text, asn::kUtf8StringIdentifier);
    try {
        member.DeserializeFromAsnObject(object, "");
        return;
    } catch (const asn::AsnException&) {
    }
    try {
        Blob content;
        object->ReadContent(&content);
    } catch (const asn::AsnException&) {
    }
}

void Walk(const Blob& input) {
    std::vector<asn::AsnChildIterator> open;
    try {
        for (asn::AsnObjectHandle object = asn::AsnObjectReadable::FromBlob(input);;) {
            open.emplace_back(object).Begin();
            while (open.back().CurrentOrEmpty() == nullptr) {
                open.pop_back();
                if (open.empty()) {
                    return;
                }
                open.back().Next();
            }
            object = open.back().CurrentOrEmpty();
            if (!object->GetIdentifier().IsConstructed()) {
                ReadPrimitive(object);
            }
        }
    } catch (const asn::AsnException&) {
    }
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Blob input(data, size);
    RoundTrip<asn::EncrAdditionalInfo>(input);
    RoundTrip<asn::PBKDF2AdditionalInfo>(input);
    RoundTrip<asn::EncrAlgIdentifier>(input);
    RoundTrip<asn::PBKDF2AlgIdentifier>(input);
    RoundTrip<asn::PBES2AlgIdentifier>(input);
    RoundTrip<asn::AttributesSet>(input);
    RoundTrip<EncrContentInfo>(input);
    RoundTrip<EncrContent>(input);
    RoundTrip<PfxKeyInfo>(input);
    RoundTrip<PfxKeyBag>(input);
    Walk(input);
    return 0;
}
