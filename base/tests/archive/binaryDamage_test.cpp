// What a binary archive does with streams that nobody vouched for.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/binarySerializer.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LogCatcher;
using testing::SampleNode;
using ::testing::SizeIs;

using Bytes = std::vector<unsigned char>;

class BinaryDamageTest : public ::testing::Test {
protected:
    BinaryDamageTest() { spdlog::default_logger()->set_level(spdlog::level::info); }
    ~BinaryDamageTest() override { EXPECT_THAT(SampleNode::living, IsEmpty()); }

    static Bytes GoodStream() {
        BinarySerializer serializer({});
        EXPECT_TRUE(serializer.Serialize(testing::MakeTangle()));
        SampleNode::CutAll();
        return serializer.GetBuffer();
    }

    // Reads the stream, and writes what was read. After a failure nothing may be left of it.
    bool Read(const Bytes& bytes) {
        Status status;
        for (const bool strict : {true, false}) {
            std::unordered_map<std::string, Value> options;
            if (strict)
                options["DeserializeValue"] = Value(true);
            BinarySerializer serializer(options);
            serializer.SetBuffer(bytes);
            const RefPtr<Object> object = serializer.Deserialize("SampleNode", &status);
            EXPECT_TRUE(status || SampleNode::living.empty());
            EXPECT_TRUE(serializer.Serialize(object));
        }
        SampleNode::CutAll();
        EXPECT_THAT(SampleNode::living, IsEmpty());
        return static_cast<bool>(status);
    }

    LogCatcher log;
};

TEST_F(BinaryDamageTest, EveryTruncationGivesWhatIsThere) {
    const Bytes good = GoodStream();
    ASSERT_TRUE(Read(good));
    EXPECT_THAT(log.Take(), IsEmpty());
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_TRUE(Read(Bytes(good.begin(), good.begin() + size))) << size;
        EXPECT_FALSE(log.Take().empty()) << size;
    }
}

TEST_F(BinaryDamageTest, EverySingleByteMayBeAnyOther) {
    Bytes bytes = GoodStream();
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const unsigned char good = bytes[at];
        for (const int change : {1, 2, 3, 0x80, 0xFF}) {
            bytes[at] = static_cast<unsigned char>(good ^ change);
            Read(bytes);
        }
        bytes[at] = good;
        log.Take();
    }
}

TEST_F(BinaryDamageTest, CirclesThatNobodyGetsAreReleased) {
    // A ring where a weak reference should be, then one that the reader gets, which both share an
    // object of a third.
    Bytes bytes;
    RefPtr<SampleNode> lost = MakeRefCounted<SampleNode>();
    RefPtr<SampleNode> kept = MakeRefCounted<SampleNode>();
    {
        BinaryOutputArchive output({});
        lost->next = kept->next = MakeRefCounted<SampleNode>();
        lost->others = {lost};
        kept->others = {kept};
        output.Serialize<SampleNode>("", lost).Serialize<SampleNode>("", kept);
        output.ToBuffer(bytes);
    }
    lost = kept = nullptr;
    SampleNode::CutAll();
    {
        BinaryInputArchive input(bytes, {});
        WeakPtr<Object> weak;
        input.SerializeObject("", weak).Serialize<SampleNode>("", kept);
        EXPECT_THAT(SampleNode::living, SizeIs(3));
    }
    ASSERT_TRUE(kept && kept->next);
    EXPECT_THAT(SampleNode::living, ::testing::UnorderedElementsAre(kept.get(), kept->next.get()));
    EXPECT_EQ(kept->others[0], kept);
    kept = nullptr;
    SampleNode::CutAll();
}

TEST_F(BinaryDamageTest, CountsThatCannotBeMetLeaveNothingAndAreReportedOnce) {
    // Each on 7 bytes behind a count that claims more: nearly as many as fit, and far more.
    struct Case {
        const char* name;
        unsigned int fits;
        std::function<uint64(Archive&)> read;  // the size of what was read over something else
    };
    std::vector<Case> cases;
    const auto add = [&](const char* name, unsigned int fits, auto filled, auto serialize) {
        cases.push_back({name, fits, [=](Archive& archive) -> uint64 {
                             auto target = filled;
                             (archive.*serialize)("", target);
                             return target.size();
                         }});
    };
    using A = Archive;
    using Name = const StringView&;
    add("string", 7, std::string("old"), &A::SerializeString);
    add("bool", 7, std::vector<bool>(3), &A::SerializeBoolArray);
    add("objects", 0, Array<RefPtr<Object>>(3),
        static_cast<A& (A::*)(Name, Array<RefPtr<Object>>&)>(&A::SerializeObjectArray));
#define KIV_ADD(Type, Name_)                                                                    \
    add(#Name_, std::is_same_v<Type, std::string> ? 1 : 7 / sizeof(Type), Array<Type>(3),       \
        static_cast<A& (A::*)(Name, Array<Type>&)>(&A::Serialize##Name_##Array));               \
    add(#Name_, std::is_same_v<Type, std::string> ? 1 : 7 / sizeof(Type), std::vector<Type>(3), \
        static_cast<A& (A::*)(Name, std::vector<Type>&)>(&A::Serialize##Name_##Array));
    KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_ADD)
#undef KIV_ADD
    cases.push_back({"structures", 7, [](Archive& archive) {
                         Array<bool> target(3);
                         return archive.Serialize<bool>("", target), target.size();
                     }});
    for (const Case& c : cases) {
        for (const unsigned int count :
             {c.fits, c.fits + 1, 0x20000001u, 0x80000000u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(c.name) + ' ' + std::to_string(count));
            ByteBufferWriter writer;
            writer.AppendUInt32(count);
            writer.AppendBytes(Bytes(7, 0));
            const Bytes bytes(writer.data(), writer.data() + writer.size());
            BinaryInputArchive archive(bytes, {});

            EXPECT_EQ(c.read(archive), count == c.fits ? c.fits : 0);
            EXPECT_THAT(log.Take(), SizeIs(count == c.fits ? 0 : 1));
            if (count == c.fits)
                continue;
            // The pass goes on behind the count, and what is missing now is not told again.
            uint64 rest = 1;
            archive.SerializeUInt64("", rest);
            EXPECT_EQ(rest, 1u);
            EXPECT_THAT(log.Take(), IsEmpty());
        }
    }
}

TEST_F(BinaryDamageTest, SizesOfObjectsAreNotTrusted) {
    const unsigned char claims[][9] = {{0, 0, 0, 0x40, 'x'},           // a name past the end
                                       {0xFF, 0xFF, 0xFF, 0xFF, 'x'},  // and far past it
                                       {0, 0, 0, 1, 'x', 0xFF, 0xFF, 0xFF, 0xFF}};  // a payload
    for (const auto& claim : claims) {
        Bytes bytes = {1, 0, 0, 0, 0, 0, 0, 0, 5};
        bytes.insert(bytes.end(), std::begin(claim), std::end(claim));
        BinaryInputArchive archive(bytes, {});
        RefPtr<Object> object;
        archive.SerializeObject("", object);
        EXPECT_FALSE(object);
        EXPECT_THAT(log.Take(), ::testing::Not(IsEmpty()));
    }
}

}  // namespace
}  // namespace kiv
