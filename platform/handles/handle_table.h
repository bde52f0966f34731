// Handles for objects that live between C calls: a wrong or released handle is told from a good one
// for the price of two loads, and neither making nor releasing an object asks for memory or takes a
// lock on the usual road.
//
// A handle names a slot and the slot's generation. Slots are recycled, never freed, so whatever
// number a caller passes, what is looked at is a slot. Each thread keeps a few free slots by it.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>

#include "handles/thread_exit.h"

namespace handles {

using Handle = std::uintptr_t;
static_assert(sizeof(Handle) == 8, "a handle has to hold a generation besides the slot's place");

// What tells the tables of one library apart, so that a key's handle is no hash's.
enum class Kind : Handle { kContext = 1, kKey = 2, kHash = 3 };

// Where slots come from: blocks of zeros that are never given back, aligned to a cache line. Null
// where there is no memory.
using AllocateSlots = void* (*)(std::size_t size) noexcept;

// The one table of `Object` in a library. An object is constructed once for its slot and used again
// and again: whoever retires it leaves it as the next user may find it.
template <typename Object, Kind kKind, AllocateSlots kAllocate>
class HandleTable {
    static_assert(std::is_trivially_destructible_v<Object>);

    struct Slot;

  public:
    // The right to a slot that nobody else sees.
    class Reservation {
      public:
        Reservation() = default;
        ~Reservation() {
            if (slot_ != nullptr) {
                PutBack(slot_);
            }
        }
        Reservation(const Reservation&) = delete;
        Reservation& operator=(const Reservation&) = delete;

        // False where there is no memory for one more.
        explicit operator bool() const { return slot_ != nullptr; }
        Object& operator*() const { return slot_->object; }
        Object* operator->() const { return &slot_->object; }

        // Makes the object valid under the handle that is answered. `owner` is whatever RetireIf
        // will be asked about.
        Handle Publish(Handle owner) {
            Slot* const slot = std::exchange(slot_, nullptr);
            slot->generation = (slot->generation + 1) & kGenerationMask;
            const Handle handle =
                slot->generation << kGenerationShift | slot->index << kIndexShift | kKindBits;
            slot->owner.store(owner, std::memory_order_release);
            slot->state.store(handle, std::memory_order_release);
            return handle;
        }

      private:
        friend class HandleTable;
        explicit Reservation(Slot* slot) : slot_(slot) {}

        Slot* slot_ = nullptr;
    };

    // The right to work on a published object while no other thread does.
    class Lease {
      public:
        ~Lease() {
            if (slot_ != nullptr) {
                slot_->state.store(handle_, std::memory_order_release);
            }
        }
        Lease(Lease&& other) noexcept
            : slot_(std::exchange(other.slot_, nullptr)),
              handle_(other.handle_),
              isBusy_(other.isBusy_) {}
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        explicit operator bool() const { return slot_ != nullptr; }
        // Whether the handle is good and another thread has the lease.
        bool IsBusy() const { return isBusy_; }
        Object& operator*() const { return slot_->object; }
        Object* operator->() const { return &slot_->object; }
        Handle Owner() const { return slot_->owner.load(std::memory_order_relaxed); }

        // Ends the handle.
        void Retire() {
            Slot* const slot = std::exchange(slot_, nullptr);
            slot->state.store(kFree, std::memory_order_release);
            PutBack(slot);
        }

      private:
        friend class HandleTable;
        Lease(Slot* slot, Handle handle, bool isBusy)
            : slot_(slot), handle_(handle), isBusy_(isBusy) {}

        Slot* slot_;
        Handle handle_;
        bool isBusy_;
    };

    static Reservation Reserve() {
        FreeSlots* const mine = FreeSlotsOfThread();
        if (mine->count == 0 && !Refill(mine)) {
            return Reservation();
        }
        return Reservation(mine->slots[--mine->count]);
    }

    static bool IsValid(Handle handle) {
        const Slot* const slot = Find(handle);
        return slot != nullptr && slot->IsStill(handle);
    }

    // The owner of a valid handle, else 0.
    static Handle OwnerOf(Handle handle) {
        const Slot* const slot = Find(handle);
        if (slot == nullptr || !slot->IsStill(handle)) {
            return 0;
        }
        const Handle owner = slot->owner.load(std::memory_order_acquire);
        return slot->IsStill(handle) ? owner : 0;
    }

    // Hands the object to `read` without keeping others off it, and answers whether the handle was
    // good all the while; if not, what was read means nothing. `read` uses acquire loads of atomic
    // members alone, and whoever fills the object release stores.
    template <typename Read>
    static bool Peek(Handle handle, Read read) {
        const Slot* const slot = Find(handle);
        if (slot == nullptr || !slot->IsStill(handle)) {
            return false;
        }
        read(slot->object);
        return slot->IsStill(handle);
    }

    static Lease TryLock(Handle handle) {
        Slot* const slot = Find(handle);
        if (slot == nullptr) {
            return Lease(nullptr, 0, false);
        }
        Handle found = handle;
        if (slot->state.compare_exchange_strong(found, handle | kBusy, std::memory_order_acquire,
                                                std::memory_order_relaxed)) {
            return Lease(slot, handle, false);
        }
        return Lease(nullptr, 0, found == (handle | kBusy));
    }

    // Waits while another thread has the lease.
    static Lease Lock(Handle handle) {
        while (true) {
            Lease lease = TryLock(handle);
            if (lease || !lease.IsBusy()) {
                return lease;
            }
            std::this_thread::yield();
        }
    }

    // Retires every object whose owner `isGone` names, after `clean` has had it. Answers whether
    // that was all of them: one that another thread is working on stays for a further call.
    template <typename IsGone, typename Clean>
    static bool RetireIf(IsGone isGone, Clean clean) {
        bool isAll = true;
        for (const std::atomic<Slot*>& block : blocks_) {
            Slot* const slots = block.load(std::memory_order_acquire);
            if (slots == nullptr) {
                break;
            }
            for (std::size_t i = 0; i < kSlotsPerBlock; ++i) {
                const Handle handle = slots[i].state.load(std::memory_order_acquire);
                if (handle == kFree || !isGone(slots[i].owner.load(std::memory_order_acquire))) {
                    continue;
                }
                Lease lease = TryLock(handle & ~kBusy);
                if (lease) {
                    clean(*lease);
                    lease.Retire();
                }
                isAll = isAll && !lease.IsBusy();
            }
        }
        return isAll;
    }

    // The same, waiting for the threads that are working on one of them.
    template <typename IsGone, typename Clean>
    static void RetireAll(IsGone isGone, Clean clean) {
        while (!RetireIf(isGone, clean)) {
            std::this_thread::yield();
        }
    }

  private:
    // A handle, from its low end: the kind, the place, the generation; the top bit is never set in
    // one, and in a slot's state it says that a lease is out.
    static constexpr unsigned kIndexShift = 3;
    static constexpr unsigned kIndexBits = 18;
    static constexpr unsigned kGenerationShift = kIndexShift + kIndexBits;
    static constexpr Handle kGenerationMask = (Handle{1} << (63 - kGenerationShift)) - 1;
    static constexpr Handle kKindBits = static_cast<Handle>(kKind);
    static constexpr Handle kKindMask = (Handle{1} << kIndexShift) - 1;
    static constexpr Handle kBusy = Handle{1} << 63;
    static constexpr Handle kFree = 0;

    static constexpr std::size_t kCacheLine = 64;
    static constexpr std::size_t kSlotsPerBlock = 64;
    static constexpr std::size_t kBlocks = (std::size_t{1} << kIndexBits) / kSlotsPerBlock;
    static constexpr std::size_t kFreeSlotsPerThread = 32;

    struct alignas(kCacheLine) Slot {
        // Whether the handle names this slot's object, leased or not.
        bool IsStill(Handle handle) const {
            return (state.load(std::memory_order_acquire) & ~kBusy) == handle;
        }

        std::atomic<Handle> state{kFree};
        std::atomic<Handle> owner{0};
        Handle index = 0;
        Handle generation = 0;
        Slot* nextFree = nullptr;
        Object object{};
    };

    struct FreeSlots {
        std::array<Slot*, kFreeSlotsPerThread> slots;
        std::size_t count;
        bool isReturnedAtExit;
    };

    // Gives a thread's free slots back when it ends.
    static void ReturnAll() {
        FreeSlots* const mine = FreeSlotsOfThread();
        const std::lock_guard lock(mutex_);
        while (mine->count != 0) {
            Share(mine->slots[--mine->count]);
        }
    }

    static Slot* Find(Handle handle) {
        if ((handle & kKindMask) != kKindBits || (handle & kBusy) != 0) {
            return nullptr;
        }
        const std::size_t index = (handle >> kIndexShift) & ((std::size_t{1} << kIndexBits) - 1);
        Slot* const slots = blocks_[index / kSlotsPerBlock].load(std::memory_order_acquire);
        return slots == nullptr ? nullptr : &slots[index % kSlotsPerBlock];
    }

    static void PutBack(Slot* slot) {
        FreeSlots* const mine = FreeSlotsOfThread();
        if (mine->count == 0) {
            ReturnAtThreadExit(mine);
        } else if (mine->count == kFreeSlotsPerThread) {
            const std::lock_guard lock(mutex_);
            while (mine->count > kFreeSlotsPerThread / 2) {
                Share(mine->slots[--mine->count]);
            }
        }
        mine->slots[mine->count++] = slot;
    }

    // The address costs a call in a shared library; without a function of its own it would be asked
    // for at each use.
    [[gnu::noinline]] static FreeSlots* FreeSlotsOfThread() { return &freeSlots_; }

    static void ReturnAtThreadExit(FreeSlots* mine) {
        if (!mine->isReturnedAtExit) {
            mine->isReturnedAtExit = true;
            ThreadExit<&ReturnAll>::Await();
        }
    }

    // With the mutex held, as the next two.
    static void Share(Slot* slot) {
        slot->nextFree = sharedFree_;
        sharedFree_ = slot;
    }

    static bool Extend() {
        if (blockCount_ == kBlocks) {
            return false;
        }
        void* const memory = kAllocate(sizeof(Slot) * kSlotsPerBlock);
        if (memory == nullptr) {
            return false;
        }
        auto* const slots = static_cast<Slot*>(memory);
        for (std::size_t i = kSlotsPerBlock; i-- != 0;) {
            Slot* const slot = new (slots + i) Slot;
            slot->index = blockCount_ * kSlotsPerBlock + i;
            Share(slot);
        }
        blocks_[blockCount_++].store(slots, std::memory_order_release);
        return true;
    }

    static bool Refill(FreeSlots* mine) {
        const std::lock_guard lock(mutex_);
        while (mine->count < kFreeSlotsPerThread / 2) {
            if (sharedFree_ == nullptr && (mine->count != 0 || !Extend())) {
                break;
            }
            mine->slots[mine->count++] = sharedFree_;
            sharedFree_ = sharedFree_->nextFree;
        }
        ReturnAtThreadExit(mine);
        return mine->count != 0;
    }

    static inline constinit std::array<std::atomic<Slot*>, kBlocks> blocks_{};
    static inline std::mutex mutex_;
    static inline constinit std::size_t blockCount_ = 0;
    static inline constinit Slot* sharedFree_ = nullptr;
    static inline constinit thread_local FreeSlots freeSlots_{};
};

}  // namespace handles
