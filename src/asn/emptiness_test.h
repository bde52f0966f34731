// How a member that may be left out learns that there is nothing to be written.
#pragma once

namespace pkisdk::asn {

// A question put to the bound value. Without one, the value does not count as empty.
template <typename Value>
struct EmptinessTest {
    bool SaysEmpty() const { return test != nullptr && (value->*test)(); }

    const Value* value = nullptr;
    bool (Value::*test)() const = nullptr;
};

}  // namespace pkisdk::asn
