// Shared handles to the objects of the framework. The count lies in the object and is a plain
// integer: a tree belongs to one thread at a time.
#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <memory>
#include <utility>

namespace pkisdk::asn {

template <typename T>
using AsnHandle = boost::intrusive_ptr<T>;

// Makes an object on the heap, held by the handle that is the answer.
template <typename T, typename... Args>
AsnHandle<T> MakeAsn(Args&&... args) {
    return AsnHandle<T>(std::make_unique<T>(std::forward<Args>(args)...).release());
}

}  // namespace pkisdk::asn
