#include "kiv/base/array.h"

#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/geometry.h"
#include "support/runTogether.h"

namespace kiv {

// Has neither a default nor an equality: all else of an array of them has to compile.
class Bare {
public:
    explicit Bare(int) {}
};
template class Array<Bare>;

extern template class KIV_BASE_TEMPLATE_EXTERN Array<Vector4f>;
template class KIV_BASE_TEMPLATE_DEFINE Array<Vector4f>;

namespace {

// Counts those alive and those moved, and throws from the copy that brings `copies_left` below 0.
struct Tracked {
    explicit Tracked(int number) : value(number) { ++alive; }
    Tracked(const Tracked& other) : value(other.value) {
        if (copies_left-- == 0)
            throw std::runtime_error("no copy left");
        ++alive;
    }
    Tracked(Tracked&& other) noexcept : value(other.value) {
        ++alive;
        ++moves;
    }
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() {
        --alive;
        value = -1;
        if (on_destruction)
            on_destruction();
    }

    int value;
    static inline int alive = 0;
    static inline int moves = 0;
    static inline std::function<void()> on_destruction;
    static constexpr int kAll = std::numeric_limits<int>::max();
    static inline int copies_left = kAll;
};

class ArrayOfTrackedTest : public ::testing::Test {
protected:
    ~ArrayOfTrackedTest() override { EXPECT_EQ(Tracked::alive, 0); }

    static Array<Tracked> Make(int count) {
        Array<Tracked> array;
        for (int i = 0; i < count; ++i)
            array.emplace_back(i);
        return array;
    }
    static std::vector<int> Values(const Array<Tracked>& array) {
        std::vector<int> values;
        for (const Tracked& element : array)
            values.push_back(element.value);
        return values;
    }
};

struct Incomplete;
struct HoldsIncomplete {
    Array<Incomplete> elements;
};
struct Incomplete {
    HoldsIncomplete children;
};

TEST(ArrayTest, HeaderLiesInFrontOfTheElements) {
    ArrayBuffer<int>* const buffer = ArrayBuffer<int>::AllocateNew(6);
    const char* const start = reinterpret_cast<const char*>(buffer);

    EXPECT_EQ(static_cast<char*>(buffer->data()) - start, 24);
    EXPECT_EQ(*reinterpret_cast<const int64*>(start + 8), 1);
    EXPECT_EQ(*reinterpret_cast<const uint64*>(start + 16), 24u);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(static_cast<const int*>(buffer->data())[i], 0);

    Buffer& plain = *buffer;
    EXPECT_EQ(plain.root_buffer(), buffer);
    EXPECT_EQ(plain.ToArrayBuffer(), buffer);
    EXPECT_EQ(plain.ToBufferObject(), nullptr);
    EXPECT_TRUE(plain.OwnsMemory());
    EXPECT_EQ(plain.sizeInBytes(), 24u);
    plain.AddRef();
    EXPECT_EQ(plain.RefCount(), 2);
    EXPECT_FALSE(plain.HasOneRef());
    plain.Release();
    plain.Release();
}

TEST(ArrayTest, WritingLeavesWhatOthersShareAndForeignMemoryAlone) {
    struct Counting : ArrayOwner {
        Counting()
            : ArrayOwner([](ArrayOwner* self) { ++static_cast<Counting*>(self)->released; }) {}
        int released = 0;
    };
    const auto writes = std::to_array<void (*)(Array<int>&)>({
        [](Array<int>& a) { a[0] = 9; },
        [](Array<int>& a) { *a.begin() = 9; },
        [](Array<int>& a) { *(a.end() - 3) = 9; },
        [](Array<int>& a) { a.front() = 9; },
        [](Array<int>& a) { a.back() = 9; },
        [](Array<int>& a) { *a.data() = 9; },
        [](Array<int>& a) { a.push_back(9); },
        [](Array<int>& a) { a.pop_back(); },
        [](Array<int>& a) { a.resize(2); },
        [](Array<int>& a) { a.resize(4); },
        [](Array<int>& a) { a.clear(); },
        [](Array<int>& a) { a.assign(5, 9); },
        [](Array<int>& a) { a.reserve(9), a[0] = 9; },
        [](Array<int>& a) { a = Array<int>(); },
    });
    for (const auto write : writes) {
        SCOPED_TRACE(&write - writes.data());
        static constexpr int kElements[] = {1, 2, 3};
        const Array<int> a = {1, 2, 3};
        Array<int> b = a;
        EXPECT_EQ(b.cdata(), a.cdata());
        write(b);
        EXPECT_NE(b.cdata(), a.cdata());
        EXPECT_NE(b, a);
        EXPECT_EQ(a, (Array<int>{1, 2, 3}));

        Counting owner;
        Array<int> foreign(owner, kElements, 3);
        { const Array<int> copy = foreign; }
        foreign.reserve(3);
        EXPECT_EQ(foreign.capacity(), 3u);
        EXPECT_EQ(foreign.cdata(), kElements);
        EXPECT_EQ(owner.released, 0);
        write(foreign);
        EXPECT_EQ(foreign, b);
        EXPECT_NE(foreign.cdata(), kElements);
        EXPECT_EQ(owner.released, 1);
    }
    const int number = 1;
    ArrayOwner silent;
    const Array<int> nobodyCares(silent, &number, 1);
}

TEST(ArrayTest, ReadingAndUniqueWritingKeepTheBuffer) {
    Array<int> a = {1, 2, 3};
    const Array<int>& read = a;
    const int* const data = a.cdata();

    for (int& element : a)
        element += 1;
    EXPECT_EQ(a.cdata(), data);
    Array<int> sharer = a;
    EXPECT_EQ(read[0] + read.front() + read.back() + *read.begin() + read.data()[1], 13);
    a.reserve(2);
    a.resize(3);
    EXPECT_EQ(a.cdata(), data);
    EXPECT_EQ(sharer.cdata(), data);
}

TEST(ArrayTest, CapacityFollowsTheSizeAndNotTheOldCapacity) {
    Array<int> a;
    EXPECT_EQ(a.capacity(), 0u);
    for (const uint64 capacity : {1, 2, 4, 4, 8, 8, 8, 8, 16}) {
        a.emplace_back(0);
        EXPECT_EQ(a.capacity(), capacity);
    }

    Array<int> exact;
    exact.resize(5);
    EXPECT_EQ(exact.capacity(), 5u);
    exact.emplace_back(1);
    EXPECT_EQ(exact.capacity(), 8u);
    exact.resize(9);
    EXPECT_EQ(exact.capacity(), 9u);
    Array<int> copy = exact;
    copy.pop_back();
    copy.data();
    EXPECT_EQ(copy.capacity(), 8u);
    exact.reserve(100);
    EXPECT_EQ(exact.capacity(), 100u);
    copy = exact;
    copy[0] = 1;
    EXPECT_EQ(copy.capacity(), 9u);  // a detach takes no slack along
    EXPECT_EQ(exact.size(), 9u);
}

TEST(ArrayTest, EmptyingKeepsAnOwnBufferAndLeavesASharedOne) {
    Array<int> own = {1, 2, 3, 4};
    const int* const data = own.cdata();
    own.resize(0);
    own.emplace_back(7);
    EXPECT_EQ(own.cdata(), data);
    EXPECT_EQ(own, Array<int>{7});

    const Array<int> other = own;
    own.resize(0);
    EXPECT_EQ(own.cdata(), nullptr);
    EXPECT_EQ(other, Array<int>{7});

    Array<int> never;
    never.clear();
    never.resize(0);
    EXPECT_EQ(never.cdata(), nullptr);
    EXPECT_EQ(never.begin(), never.end());
}

TEST(ArrayTest, AppendedValueMayBeAnElement) {
    Array<std::string> texts = {"a text that is too long for the string itself", "b"};
    Array<int> numbers = {5, 6};
    ASSERT_EQ(texts.capacity(), texts.size());

    texts.push_back(texts.cdata()[0]);
    numbers.emplace_back(numbers.cdata()[0]);
    numbers.__resize(70000, numbers.cdata()[1]);
    texts.__resize(100, texts.cdata()[0]);

    EXPECT_EQ(texts.back(), texts.front());
    EXPECT_EQ(texts[2], texts[0]);
    EXPECT_EQ(numbers[2], 5);
    EXPECT_EQ(numbers[69999], 6);
}

TEST(ArrayTest, ResizeFillsWithTheDefaultOrTheGivenValue) {
    Array<bool> flags(3);
    flags.__resize(5, true);
    flags.resize(6);
    EXPECT_EQ(flags, (Array<bool>{false, false, false, true, true, false}));
    static_assert(std::same_as<decltype(flags.data()), bool*>);

    Array<int> reused = {1, 2, 3};
    reused.resize(1);
    reused.resize(3);
    EXPECT_EQ(reused, (Array<int>{1, 0, 0}));

    Array<Vector4f> records(2);
    records.emplace_back({1, 2, 3, 4});
    EXPECT_EQ(records, (Array<Vector4f>{{}, {}, {1, 2, 3, 4}}));
}

TEST(ArrayTest, ConstructsFromEveryKindOfIteratorAndByMove) {
    std::istringstream stream("3 1 2");
    const std::vector<int> vector = {3, 1, 2};
    const Array<int> expected = {3, 1, 2};

    EXPECT_EQ(Array<int>(std::istream_iterator<int>(stream), {}), expected);
    EXPECT_EQ(Array<int>(vector.begin(), vector.end()), expected);
    EXPECT_EQ(Array<int>(vector.rbegin(), vector.rend()), (Array<int>{2, 1, 3}));
    EXPECT_EQ((Array<double>(vector.begin(), vector.end())), (Array<double>{3, 1, 2}));
    EXPECT_EQ(Array<int>(vector.end(), vector.end()).cdata(), nullptr);
    EXPECT_EQ(Array<int>(2, 7), (Array<int>{7, 7}));

    Array<int> a = {1, 2};
    Array<int> moved = std::move(a);
    EXPECT_EQ(a.cdata(), nullptr);
    Array<int>& self = moved;
    moved = self;
    moved = std::move(self);
    EXPECT_EQ(moved, (Array<int>{1, 2}));
}

TEST(ArrayTest, OneBufferIsEqualToItselfWhateverIsInIt) {
    const float nan = std::nanf("");
    const Array<float> a = {nan};
    const Array<float> shared = a;
    EXPECT_EQ(a, shared);
    EXPECT_NE(a, Array<float>{nan});

    Array<float> emptied = {1};
    emptied.clear();
    EXPECT_NE(emptied.cdata(), nullptr);
    EXPECT_EQ(emptied, Array<float>());

    const int elements[] = {1, 2};
    ArrayOwner owner;
    EXPECT_NE(Array<int>(owner, elements, 1), Array<int>(owner, elements, 2));
}

TEST(ArrayTest, CountsBeyondTheMemoryAreRefusedAndChangeNothing) {
    constexpr uint64 kMax = std::numeric_limits<uint64>::max();
    for (const uint64 count : {kMax, (uint64{1} << 63) / sizeof(double), (uint64{1} << 61) - 2}) {
        SCOPED_TRACE(count);
        Array<double> own = {1, 2};
        Array<double> shared = own;

        EXPECT_THROW(static_cast<void>(ArrayBuffer<double>::AllocateNew(count)), std::bad_alloc);
        EXPECT_THROW(shared.resize(count), std::bad_alloc);
        EXPECT_THROW(shared.reserve(count), std::bad_alloc);
        shared = Array<double>();
        EXPECT_THROW(own.reserve(count), std::bad_alloc);
        EXPECT_THROW(shared.resize(count), std::bad_alloc);
        EXPECT_EQ(own, (Array<double>{1, 2}));
        EXPECT_EQ(shared.size(), 0u);
    }
}

TEST(ArrayTest, ElementsMayBeOfAClassThatIsNotComplete) {
    HoldsIncomplete tree;
    tree.elements.resize(2);
    const HoldsIncomplete copy = tree;
    tree.elements.begin()->children = copy;

    EXPECT_EQ(tree.elements[0].children.elements.size(), 2u);
    EXPECT_EQ(copy.elements[0].children.elements.size(), 0u);
}

TEST(ArrayTest, TwoThreadsMayWriteTheirOwnHandles) {
    constexpr int kRounds = 2000;
    const Array<int> source(64, 1);

    testing::RunTogether(2, [&source](int) {
        Array<int> mine = source;
        for (int round = 0; round < kRounds; ++round) {
            Array<int> copy = mine;
            copy[0] += 1;
            mine = copy;
        }
        EXPECT_EQ(mine[0], kRounds + 1);
    });

    EXPECT_EQ(source, Array<int>(64, 1));
}

TEST_F(ArrayOfTrackedTest, ElementsAreCopiedAndDestroyedAsOftenAndNeverMoved) {
    Tracked::moves = 0;
    Array<Tracked> a = Make(5);
    const Array<Tracked> b = a;
    EXPECT_EQ(Tracked::alive, 5);

    a.pop_back();
    EXPECT_EQ(Tracked::alive, 9);
    a.__resize(2, Tracked(0));
    EXPECT_EQ(Tracked::alive, 7);
    EXPECT_EQ(Values(a), (std::vector<int>{0, 1}));
    a.clear();
    EXPECT_EQ(Tracked::alive, 5);
    EXPECT_EQ(Values(b), (std::vector<int>{0, 1, 2, 3, 4}));

    a = Make(3);
    a.reserve(100);
    a.__resize(200, a.cdata()[0]);
    a.emplace_back(1);
    EXPECT_EQ(Tracked::moves, 0);
}

TEST_F(ArrayOfTrackedTest, DestructorsOfElementsSeeTheArrayAsItIsFromThenOn) {
    const struct {
        const char* name;
        void (*change)(Array<Tracked>&);
        std::vector<int> seen;
    } cases[] = {
        {"emplace_back", [](Array<Tracked>& a) { a.emplace_back(4); }, {0, 1, 2, 3, 4}},
        {"reserve", [](Array<Tracked>& a) { a.reserve(100); }, {0, 1, 2, 3}},
        {"pop_back", [](Array<Tracked>& a) { a.pop_back(); }, {0, 1, 2}},
        {"clear", [](Array<Tracked>& a) { a.clear(); }, {}},
        {"assignment", [](Array<Tracked>& a) { a = Array<Tracked>(); }, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Array<Tracked> a = Make(4);
        int looks = 0;
        Tracked::on_destruction = [&] {
            ++looks;
            EXPECT_EQ(Values(a), c.seen);
        };

        c.change(a);

        Tracked::on_destruction = nullptr;
        EXPECT_GT(looks, 0);
    }
}

TEST_F(ArrayOfTrackedTest, CopyThatThrowsLeaksNothingAndLeavesTheArray) {
    const auto changes = std::to_array<void (*)(Array<Tracked>&)>({
        [](Array<Tracked>& a) { a.data(); },
        [](Array<Tracked>& a) { a.emplace_back(a.cdata()[0]); },
        [](Array<Tracked>& a) { a.pop_back(); },
        [](Array<Tracked>& a) { a.reserve(100); },
        [](Array<Tracked>& a) { a.__resize(100, a.cdata()[0]); },
    });
    for (const bool shared : {false, true}) {
        for (const auto change : changes) {
            SCOPED_TRACE(::testing::Message()
                         << "shared " << shared << ", change " << &change - changes.data());
            int copies = 0;
            for (bool threw = true; threw; Tracked::copies_left = Tracked::kAll) {
                Array<Tracked> a = Make(4);
                const Array<Tracked> sharer = shared ? a : Array<Tracked>();
                const Tracked* const data = a.cdata();
                Tracked::copies_left = copies++;
                threw = false;
                try {
                    change(a);
                } catch (const std::runtime_error&) {
                    threw = true;
                    EXPECT_EQ(Values(a), (std::vector<int>{0, 1, 2, 3}));
                    EXPECT_EQ(Tracked::alive, a.cdata() == data || !shared ? 4 : 8);
                }
            }
            EXPECT_EQ(Tracked::alive, 0);
        }
    }
}

}  // namespace
}  // namespace kiv
