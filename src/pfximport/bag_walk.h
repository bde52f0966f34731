// One pass over the bags of one type.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "derlist/der_queries.h"
#include "derlist/der_spans.h"

namespace pkisdk {

// Gives the structures that FindNthByOid numbers for the type's identifier. `list` must outlive the
// walk and not change.
class BagWalk {
  public:
    BagWalk(const DerList& list, const char* bagOid);

    // The next one into `bag`. False where there is none, or where it does not parse. Bags inside
    // bags are each copied whole; throws Exception where these copies come to 64 times the list:
    // in documents made for it, and in those of very many bags whose lengths are all over-long.
    bool Next(DerList* bag);
    // The same, for bags of which little is looked at.
    bool Next(DerSpans* bag);

  private:
    void Count(std::uint64_t size);

    const DerList* list_;
    OidMatchCursor cursor_;
    // In bytes: first what can be told without going through the list, then what is exact.
    std::uint64_t left_;
    bool isExact_ = false;
};

}  // namespace pkisdk
