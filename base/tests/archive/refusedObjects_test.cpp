// Objects that are read and then not taken are released with the archive, also if they hold each
// other.
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/registration.h"

namespace kiv {
namespace testing {

// Both are stored alike, and differ in what they take back.
class SampleTaker : public Object {
    KIV_OBJECT(SampleTaker, Object)

public:
    RefPtr<Object> one;
    Array<RefPtr<Object>> list;
};
class SampleMiser : public Object {
    KIV_OBJECT(SampleMiser, Object)

public:
    RefPtr<SampleScript> one;
    Array<RefPtr<SampleScript>> list;
};

template <class T>
static bool Register(const char* name) {
    return Registration::Class<T>(name)
        .Property("one", &T::one)
        .Property("list", &T::list)
        .Creatable();
}
[[maybe_unused]] static const bool taker_registered[] = {Register<SampleTaker>("SampleTaker"),
                                                         Register<SampleMiser>("SampleMiser")};

}  // namespace testing

namespace {

using ::testing::IsEmpty;
using testing::SampleMiser;
using testing::SampleNode;
using testing::SampleScript;
using testing::SampleTaker;

struct Json {
    using Output = JsonOutputArchive;
    using Input = JsonInputArchive;
    static std::string Take(Output& archive) {
        std::string text;
        archive.ToString(text);
        return text;
    }
    static std::unique_ptr<Input> Open(const std::string& text) {
        auto archive = std::make_unique<Input>(std::unordered_map<std::string, Value>());
        archive->FromString(text);
        return archive;
    }
};

struct Binary {
    using Output = BinaryOutputArchive;
    using Input = BinaryInputArchive;
    static std::string Take(Output& archive) {
        return std::string(archive.GetBytes().begin(), archive.GetBytes().end());
    }
    static std::unique_ptr<Input> Open(const std::string& bytes) {
        return std::make_unique<Input>(
            ArrayView<const unsigned char>(reinterpret_cast<const unsigned char*>(bytes.data()),
                                           bytes.size()),
            std::unordered_map<std::string, Value>());
    }
};

template <class Form>
class RefusedObjectsTest : public ::testing::Test {};
using Forms = ::testing::Types<Json, Binary>;
TYPED_TEST_SUITE(RefusedObjectsTest, Forms);

TYPED_TEST(RefusedObjectsTest, GoWithTheArchiveAlsoIfTheyHoldEachOther) {
    for (const bool in_list : {false, true}) {
        SCOPED_TRACE(in_list);
        auto ring = MakeRefCounted<SampleNode>();
        ring->next = ring;
        RefPtr<SampleTaker> taker = MakeRefCounted<SampleTaker>();
        if (in_list)
            taker->list = {nullptr, ring};
        else
            taker->one = ring;
        std::string stored;
        {
            typename TypeParam::Output archive({});
            archive.template Serialize<SampleTaker>("taker", taker);
            archive.template Serialize<SampleNode>("ring", ring);
            stored = TypeParam::Take(archive);
        }
        SampleNode::CutAll();
        taker = nullptr;
        ring = nullptr;
        ASSERT_THAT(SampleNode::living, IsEmpty());

        // The properties of another class, which take no node.
        const std::string name = "SampleTaker";
        for (std::size_t at = 0; (at = stored.find(name, at)) != std::string::npos;)
            stored.replace(at, name.size(), "SampleMiser");
        RefPtr<Object> read;
        {
            const auto archive = TypeParam::Open(stored);
            archive->SerializeObject("taker", read);
        }
        ASSERT_TRUE(read && read->IsInstanceOf<SampleMiser>());
        EXPECT_FALSE(static_cast<SampleMiser&>(*read).one);
        EXPECT_THAT(static_cast<SampleMiser&>(*read).list, IsEmpty());
        EXPECT_THAT(SampleNode::living, IsEmpty());

        // And where a reference to another class is read.
        RefPtr<SampleScript> script;
        {
            const auto archive = TypeParam::Open(stored);
            archive->SerializeObject("taker", read);
            archive->template Serialize<SampleScript>("ring", script);
        }
        EXPECT_FALSE(script);
        EXPECT_THAT(SampleNode::living, IsEmpty());
        SampleNode::CutAll();
    }
}

// An object may write references that it doesn't own. They don't make up for those of the caller.
TYPED_TEST(RefusedObjectsTest, WhatTheCallerGotIsLeftAlone) {
    Object* parent = nullptr;
    SampleScript::body = [&parent](SampleScript& self, Archive& archive) {
        RefPtr<SampleNode> refused;
        RefPtr<Object> back(self.reference ? nullptr : parent);
        archive.SerializeObject("child", self.reference).SerializeObject("back", back);
        if (archive.IsRead())
            archive.template Serialize<SampleNode>("child", refused);
    };
    auto written = MakeRefCounted<SampleScript>();
    written->reference = MakeRefCounted<SampleScript>();
    parent = written.get();
    std::string stored;
    {
        typename TypeParam::Output archive({});
        RefPtr<Object> root = written;
        archive.SerializeObject("root", root);
        stored = TypeParam::Take(archive);
    }
    RefPtr<Object> read;
    {
        const auto archive = TypeParam::Open(stored);
        archive->SerializeObject("root", read);
        parent = read.get();
    }
    ASSERT_TRUE(read);
    EXPECT_TRUE(static_cast<SampleScript&>(*read).reference);
    SampleScript::body = nullptr;
}

}  // namespace
}  // namespace kiv
