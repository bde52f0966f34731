// The flat list, its parser and its queries written out step by step: every search walks the list
// and lengths are passed up at each append. Slow and simple, and sharing no code with src/, so that
// the fast ones can be held against it.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

namespace reference {

using Bytes = std::vector<std::uint8_t>;

struct Node {
    std::int32_t depth = 0;
    std::uint8_t tag = 0;
    Bytes content;
    std::uint32_t indefinite = 0;
    std::uint32_t contentLength = 0;
    std::uint32_t offset = 0;
    std::uint32_t scopeLength = 0;
    std::uint32_t scopeStart = 0;
};

using List = std::list<Node>;

// Model and editing.
std::uint32_t EncodedNodeSize(const Node& node);
int AppendDerNode(std::int32_t position, Node node, List* list);
int ReinsertDerNode(std::int32_t position, Node node, List* list);
int PropagateLength(const Node* node, List* list, List::iterator last);
List::iterator FindAncestor(List* list, std::int32_t depth, List::iterator from);
std::uint32_t GrowContentLength(List::iterator node, std::uint32_t delta);
void WriteDerNode(List::const_iterator& node, Bytes* out);
int DropLastDerNode(List* list);

// Parser. A byte that would be read past the end of the document ends the parse with 0, and so does
// a value that would go past it; that value's node is not appended. In LooksLikeDer a length is a
// number that never wraps.
int ParseDerList(const std::uint8_t* data, std::int32_t size, List* out);
int DecodeDerLength(const std::uint8_t* octets, std::size_t available, std::uint32_t limit,
                    std::uint32_t* value, std::uint32_t* total, bool* indefinite);
int ReadDerHeader(const Bytes& document, std::uint32_t* cursor, Node* node);
int LooksLikeDer(const std::uint8_t* content, std::uint32_t length);
std::int32_t FindOpenScope(const List& list, std::uint32_t* scopeLength, std::uint32_t* scopeStart);

// Text armour. `error` takes what is left in the last error.
int DecodeTextArmour(Bytes input, Bytes* out, std::uint32_t* error);
int DecodeBase64(Bytes input, Bytes* out);

// Queries.
int ExtractSubtree(List list, std::int32_t index, Bytes* out);
int ExtractSubtreeAsList(List list, std::uint32_t index, List* out);
int FindByOid(const List* list, const char* oid, List* out);
int FindNthByOid(List* list, const char* oid, std::uint32_t occurrence, List* out);
int GetFirstOidText(const List* list, std::string* text);
int AppendDerList(List* target, const List* source, std::uint32_t mode);
int AppendDerBytes(List* target, const std::uint8_t* data, std::uint32_t size, std::uint32_t mode);

}  // namespace reference
