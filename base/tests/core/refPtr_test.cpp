#include "kiv/base/refPtr.h"

#include <unordered_set>

#include <gtest/gtest.h>

#include "kiv/base/weakPtr.h"
#include "support/runTogether.h"

namespace kiv {
namespace {

// Counted through a base whose destructor nobody but the base may call.
class Hidden : public RefCountedThreadSafe<Hidden> {
public:
    explicit Hidden(int* destroyed) : destroyed_(destroyed) {}
    RefPtr<Hidden> next;

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

class Later;
struct HoldsLater {
    RefPtr<Later> later;
    WeakPtr<Later> weak;
};
class Later : public RefCountedThreadSafe<Later> {};

class RefPtrTest : public ::testing::Test {
protected:
    int destroyed = 0;
    RefPtr<Derived> made = MakeRefCounted<Derived>(&destroyed);
};

TEST_F(RefPtrTest, LastPointerDestroysOnce) {
    {
        RefPtr<Hidden> copy = made;
        const RefPtr<Hidden> raw(made.get());
        EXPECT_EQ(made->RefCount(), 3u);
        EXPECT_EQ(copy, made);
        EXPECT_EQ(raw, made.get());
        std::unordered_set<RefPtr<Hidden>> set = {copy, nullptr};
        EXPECT_FALSE(set.insert(raw).second);
        set.clear();

        made.reset();
        copy = nullptr;
        EXPECT_EQ(destroyed, 0);
        EXPECT_TRUE(raw->HasOneRef());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST_F(RefPtrTest, MovingChangesNoCountAndLeavesNull) {
    RefPtr<Hidden> taken = std::move(made);
    EXPECT_EQ(made, nullptr);
    EXPECT_FALSE(made);

    RefPtr<Hidden>& self = taken;
    taken = std::move(self);
    taken = self;
    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->RefCount(), 1u);

    Hidden* const released = taken.Release();
    EXPECT_EQ(taken, nullptr);
    EXPECT_EQ(RefPtr<Hidden>::Adopt(released)->RefCount(), 1u);
    EXPECT_EQ(destroyed, 1);
}

TEST_F(RefPtrTest, AssignmentReleasesTheOldObjectLast) {
    RefPtr<Hidden> list = std::move(made);
    list->next = MakeRefCounted<Hidden>(&destroyed);
    Hidden* const second = list->next.get();

    list = list->next;  // the source dies with the old object

    EXPECT_EQ(list, second);
    EXPECT_TRUE(list->HasOneRef());
}

TEST_F(RefPtrTest, ThreadsMayShareTheCount) {
    testing::RunTogether(4, [mine = made](int) {
        for (int round = 0; round < 20000; ++round)
            RefPtr<Hidden> copy = mine;
    });

    EXPECT_TRUE(made->HasOneRef());
    made.reset();
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
