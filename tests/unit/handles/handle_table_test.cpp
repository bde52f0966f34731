#include "handles/handle_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace {

using handles::Handle;
using handles::Kind;

std::atomic<bool> isMemoryOut{false};

void* AllocateZeroes(std::size_t size) noexcept {
    constexpr std::size_t kCacheLine = 64;
    if (isMemoryOut) {
        return nullptr;
    }
    void* const memory = std::aligned_alloc(kCacheLine, size);
    return memory == nullptr ? nullptr : std::memset(memory, 0, size);
}

struct Object {
    std::atomic<int> number{0};
};

// Each test has a table of its own, since there is one for each type.
template <int kTest>
struct ObjectOf : Object {};
template <int kTest>
using Table = handles::HandleTable<ObjectOf<kTest>, Kind::kHash, &AllocateZeroes>;

template <typename T>
Handle Make(int number, Handle owner = 0) {
    typename T::Reservation reservation = T::Reserve();
    if (!reservation) {
        return 0;
    }
    reservation->number.store(number, std::memory_order_release);
    return reservation.Publish(owner);
}

template <typename T>
bool Retire(Handle handle) {
    typename T::Lease lease = T::TryLock(handle);
    if (!lease) {
        return false;
    }
    lease.Retire();
    return true;
}

TEST(HandleTable, KnowsAHandleFromItsPublicationToItsEnd) {
    using T = Table<1>;
    const Handle handle = Make<T>(7, 99);
    ASSERT_NE(handle, 0U);
    EXPECT_TRUE(T::IsValid(handle));
    EXPECT_EQ(T::OwnerOf(handle), 99U);
    EXPECT_EQ(T::TryLock(handle)->number, 7);
    EXPECT_TRUE(Retire<T>(handle));
    EXPECT_FALSE(T::IsValid(handle));
    EXPECT_EQ(T::OwnerOf(handle), 0U);
    EXPECT_FALSE(Retire<T>(handle));
    EXPECT_FALSE(T::Peek(handle, [](const Object&) {}));
}

TEST(HandleTable, GivesARecycledSlotAnotherHandle) {
    using T = Table<2>;
    std::set<Handle> seen;
    for (int i = 0; i < 1000; ++i) {
        const Handle handle = Make<T>(i);
        EXPECT_TRUE(seen.insert(handle).second);
        EXPECT_TRUE(Retire<T>(handle));
    }
}

TEST(HandleTable, RefusesEveryNumberItNeverGave) {
    using T = Table<3>;
    const Handle handle = Make<T>(1);
    for (unsigned bit = 0; bit < 64; ++bit) {
        const Handle other = handle ^ Handle { 1 } << bit;
        EXPECT_FALSE(T::IsValid(other)) << bit;
        EXPECT_FALSE(T::TryLock(other)) << bit;
        EXPECT_FALSE(T::TryLock(other).IsBusy()) << bit;
    }
    std::mt19937_64 random(4);
    for (int i = 0; i < 100'000; ++i) {
        const Handle other = random();
        EXPECT_TRUE(other == handle || !T::IsValid(other));
    }
    EXPECT_TRUE(Retire<T>(handle));
}

TEST(HandleTable, LetsOneThreadAtATimeHaveTheLease) {
    using T = Table<4>;
    const Handle handle = Make<T>(1);
    {
        const T::Lease first = T::TryLock(handle);
        ASSERT_TRUE(first);
        const T::Lease second = T::TryLock(handle);
        EXPECT_FALSE(second);
        EXPECT_TRUE(second.IsBusy());
        EXPECT_TRUE(T::IsValid(handle));
        EXPECT_TRUE(T::Peek(handle, [](const Object&) {}));
    }
    EXPECT_TRUE(T::TryLock(handle));
    EXPECT_TRUE(Retire<T>(handle));
}

TEST(HandleTable, TakesAnUnpublishedReservationBack) {
    using T = Table<5>;
    Object* first = nullptr;
    {
        const T::Reservation reservation = T::Reserve();
        first = &*reservation;
    }
    const T::Reservation again = T::Reserve();
    EXPECT_EQ(&*again, first);
}

TEST(HandleTable, RetiresWhatBelongsToAnOwner) {
    using T = Table<6>;
    std::vector<Handle> handles;
    for (int i = 0; i < 300; ++i) {
        handles.push_back(Make<T>(i, i % 3 == 0 ? 10 : 20));
    }
    int cleaned = 0;
    T::RetireIf([](Handle owner) { return owner == 10; }, [&cleaned](Object&) { ++cleaned; });
    EXPECT_EQ(cleaned, 100);
    for (std::size_t i = 0; i < handles.size(); ++i) {
        EXPECT_EQ(T::IsValid(handles[i]), i % 3 != 0);
    }
}

TEST(HandleTable, LeavesALeasedObjectToTheNextRetirement) {
    using T = Table<7>;
    const Handle handle = Make<T>(1, 10);
    const auto retire = [] { return T::RetireIf([](Handle) { return true; }, [](Object&) {}); };
    {
        const T::Lease lease = T::TryLock(handle);
        EXPECT_FALSE(retire());
        EXPECT_TRUE(T::IsValid(handle));
    }
    EXPECT_TRUE(retire());
    EXPECT_FALSE(T::IsValid(handle));
}

TEST(HandleTable, WaitsForALeasedObjectToRetireAll) {
    using T = Table<71>;
    const Handle handle = Make<T>(1, 10);
    std::atomic<bool> isLeased = false;
    std::atomic<bool> isAsked = false;
    std::thread worker([&] {
        const T::Lease lease = T::TryLock(handle);
        isLeased = true;
        while (!isAsked) {
            std::this_thread::yield();
        }
    });
    while (!isLeased) {
        std::this_thread::yield();
    }
    const auto isGone = [&isAsked](Handle) {
        isAsked = true;
        return true;
    };
    int cleaned = 0;
    T::RetireAll(isGone, [&cleaned](Object&) { ++cleaned; });
    worker.join();
    EXPECT_EQ(cleaned, 1);
    EXPECT_FALSE(T::IsValid(handle));
}

TEST(HandleTable, TellsWhenThereIsNoMemory) {
    using T = Table<8>;
    isMemoryOut = true;
    EXPECT_FALSE(T::Reserve());
    isMemoryOut = false;
    EXPECT_TRUE(T::Reserve());
}

// 2^18 slots are what a handle can name.
TEST(HandleTable, EndsWhereItsHandlesDo) {
    using T = Table<9>;
    std::size_t count = 0;
    std::set<Handle> seen;
    while (const Handle handle = Make<T>(1)) {
        seen.insert(handle);
        ++count;
    }
    EXPECT_EQ(count, std::size_t{1} << 18);
    EXPECT_EQ(seen.size(), count);
    EXPECT_TRUE(Retire<T>(*seen.begin()));
    EXPECT_NE(Make<T>(1), 0U);
}

TEST(HandleTable, UsesTheSlotsOfThreadsThatHaveEnded) {
    using T = Table<10>;
    std::set<const Object*> objects;
    for (int round = 0; round < 200; ++round) {
        std::thread([&objects] {
            const T::Reservation reservation = T::Reserve();
            objects.insert(&*reservation);
        }).join();
    }
    EXPECT_LE(objects.size(), 64U);
}

TEST(HandleTable, SharesTheSlotsOfAThreadThatOnlyRetires) {
    using T = Table<11>;
    std::set<const Object*> objects;
    for (int round = 0; round < 200; ++round) {
        const Handle handle = Make<T>(round);
        T::Peek(handle, [&objects](const Object& object) { objects.insert(&object); });
        std::thread([handle] { EXPECT_TRUE(Retire<T>(handle)); }).join();
    }
    EXPECT_LE(objects.size(), 64U);
}

// Whoever holds a lease finds the number of its handle and nobody else's.
TEST(HandleTable, KeepsObjectsApartUnderManyThreads) {
    using T = Table<12>;
    constexpr int kThreads = 8;
    constexpr int kRounds = 5000;
    std::vector<std::atomic<Handle>> shared(32);
    std::atomic<int> wins{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&shared, &wins, t] {
            std::mt19937 random(static_cast<unsigned>(t));
            for (int i = 0; i < kRounds; ++i) {
                const int number = t * kRounds + i;
                const Handle mine = Make<T>(number);
                int seen = -1;
                ASSERT_TRUE(T::Peek(mine, [&seen](const Object& object) {
                    seen = object.number.load(std::memory_order_acquire);
                }));
                ASSERT_EQ(seen, number);
                const Handle old = shared[random() % shared.size()].exchange(mine);
                if (old != 0 && Retire<T>(old)) {
                    ++wins;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    int left = 0;
    for (const std::atomic<Handle>& handle : shared) {
        left += handle != 0 && Retire<T>(handle) ? 1 : 0;
    }
    EXPECT_EQ(wins + left, kThreads * kRounds);
}

TEST(HandleTable, MakesTheOthersWaitInLock) {
    using T = Table<13>;
    const Handle handle = Make<T>(0);
    std::vector<std::thread> threads;
    int count = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([handle, &count] {
            for (int i = 0; i < 10'000; ++i) {
                const T::Lease lease = T::Lock(handle);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, 40'000);
    EXPECT_TRUE(Retire<T>(handle));
    EXPECT_FALSE(T::Lock(handle));
}

}  // namespace
