#include "kiv/base/refPtr.h"

#include <barrier>
#include <thread>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/weakPtr.h"

namespace kiv {
namespace {

// Counted through a base whose destructor nobody but the base may call.
class Hidden : public RefCountedThreadSafe<Hidden> {
public:
    explicit Hidden(int* destroyed) : destroyed_(destroyed) {}

protected:
    friend class RefCountedThreadSafe<Hidden>;
    virtual ~Hidden() { ++*destroyed_; }

private:
    int* destroyed_;
};

class Derived : public Hidden {
public:
    using Hidden::Hidden;

private:
    ~Derived() override = default;
};

struct Node : RefCountedThreadSafe<Node> {
    RefPtr<Node> next;
};

class Later;
struct HoldsLater {
    RefPtr<Later> later;
    WeakPtr<Later> weak;
};
class Later : public RefCountedThreadSafe<Later> {};

TEST(RefPtrTest, LastPointerDestroysOnce) {
    int destroyed = 0;
    {
        RefPtr<Derived> made = MakeRefCounted<Derived>(&destroyed);
        EXPECT_EQ(made->RefCount(), 1u);
        EXPECT_TRUE(made->HasOneRef());

        RefPtr<Hidden> copy = made;
        RefPtr<Hidden> raw(made.get());
        EXPECT_EQ(made->RefCount(), 3u);
        EXPECT_EQ(copy, made);
        EXPECT_EQ(raw, made.get());

        made.reset();
        copy = nullptr;
        EXPECT_EQ(destroyed, 0);
        EXPECT_TRUE(raw->HasOneRef());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(RefPtrTest, MovingChangesNoCountAndLeavesNull) {
    int destroyed = 0;
    RefPtr<Derived> source = MakeRefCounted<Derived>(&destroyed);

    RefPtr<Hidden> taken = std::move(source);
    EXPECT_EQ(source, nullptr);
    EXPECT_FALSE(source);
    EXPECT_EQ(taken->RefCount(), 1u);

    RefPtr<Hidden>& self = taken;
    taken = std::move(self);
    taken = self;
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->RefCount(), 1u);

    Hidden* const released = taken.Release();
    EXPECT_EQ(taken, nullptr);
    EXPECT_EQ(released->RefCount(), 1u);
    EXPECT_EQ(RefPtr<Hidden>::Adopt(released)->RefCount(), 1u);
    EXPECT_EQ(destroyed, 1);
}

TEST(RefPtrTest, AssignmentReleasesTheOldObjectLast) {
    RefPtr<Node> list = MakeRefCounted<Node>();
    list->next = MakeRefCounted<Node>();
    Node* const second = list->next.get();

    list = list->next;  // the source dies with the old object

    EXPECT_EQ(list, second);
    EXPECT_TRUE(list->HasOneRef());
}

TEST(RefPtrTest, PointersToOneObjectHashAlike) {
    std::unordered_set<RefPtr<Node>> set;
    const RefPtr<Node> node = MakeRefCounted<Node>();

    EXPECT_TRUE(set.insert(node).second);
    EXPECT_FALSE(set.insert(RefPtr<Node>(node.get())).second);
    EXPECT_TRUE(set.insert(nullptr).second);
}

TEST(RefPtrTest, ThreadsMayShareTheCount) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    int destroyed = 0;
    RefPtr<Hidden> shared = MakeRefCounted<Hidden>(&destroyed);
    std::barrier start(kThreads);
    std::vector<std::thread> threads;

    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&start, mine = shared] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round)
                RefPtr<Hidden> copy = mine;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();

    EXPECT_TRUE(shared->HasOneRef());
    shared.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(WeakPtrTest, ReadsAsNullOnceInvalidatedAndKeepsItsFlag) {
    int object = 0;
    auto* const flag = new detail::WeakPtrFlag;
    WeakPtr<int> first(&object, flag);
    WeakPtr<int> second = first;
    EXPECT_EQ(flag->RefCount(), 3u);
    EXPECT_EQ(second.get(), &object);

    WeakPtr<int> moved = std::move(first);
    EXPECT_EQ(first.get(), nullptr);
    EXPECT_EQ(flag->RefCount(), 3u);

    flag->Invalidate();
    flag->Release();
    EXPECT_EQ(moved.get(), nullptr);
    EXPECT_FALSE(second);
    second = WeakPtr<int>();
    EXPECT_EQ(flag->RefCount(), 1u);  // the last pointer frees it, as the leak checker sees
}

TEST(WeakPtrTest, DefaultPointerNeedsNoFlag) {
    const HoldsLater holder;
    const HoldsLater copy = holder;

    EXPECT_EQ(copy.weak.get(), nullptr);
    EXPECT_EQ(copy.later, nullptr);
}

}  // namespace
}  // namespace kiv
