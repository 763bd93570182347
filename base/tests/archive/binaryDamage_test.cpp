// What a binary archive does with streams that nobody vouched for.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/binarySerializer.h"

namespace kiv {
namespace {

using ::testing::IsEmpty;
using testing::SampleNode;
using ::testing::SizeIs;

using Bytes = std::vector<unsigned char>;

class BinaryDamageTest : public testing::ObjectTest {
protected:
    BinaryDamageTest() {
        BinarySerializer serializer({});
        EXPECT_TRUE(serializer.Serialize(testing::MakeTangle()));
        SampleNode::CutAll();
        good_ = serializer.GetBuffer();
    }

    // Reads the stream, and writes what was read. After a failure nothing may be left of it.
    static bool Read(const Bytes& bytes) {
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

    Bytes good_;
};

TEST_F(BinaryDamageTest, EveryTruncationGivesWhatIsThere) {
    for (std::size_t size = 0; size <= good_.size(); ++size) {
        EXPECT_TRUE(Read(Bytes(good_.begin(), good_.begin() + size))) << size;
        EXPECT_EQ(log.Take().empty(), size == good_.size()) << size;
    }
}

TEST_F(BinaryDamageTest, EverySingleByteMayBeAnyOther) {
    for (unsigned char& byte : good_) {
        const unsigned char good = byte;
        for (const int change : {1, 2, 3, 0x80, 0xFF}) {
            byte = static_cast<unsigned char>(good ^ change);
            Read(good_);
        }
        byte = good;
        log.Take();
    }
}

TEST_F(BinaryDamageTest, CirclesThatNobodyGetsAreReleased) {
    // A ring where a weak reference should be, then one that the reader gets, which both share an
    // object of a third.
    auto lost = MakeRefCounted<SampleNode>();
    auto kept = MakeRefCounted<SampleNode>();
    lost->next = kept->next = MakeRefCounted<SampleNode>();
    lost->others = {lost};
    kept->others = {kept};
    const Bytes bytes = testing::BinaryForm::Written([&](Archive& archive) {
        archive.Serialize<SampleNode>("", lost).Serialize<SampleNode>("", kept);
    });
    lost = kept = nullptr;
    SampleNode::CutAll();
    testing::BinaryForm::Read(bytes, [&](Archive& archive) {
        WeakPtr<Object> weak;
        archive.SerializeObject("", weak).Serialize<SampleNode>("", kept);
        EXPECT_THAT(SampleNode::living, SizeIs(3));
    });
    ASSERT_TRUE(kept && kept->next);
    EXPECT_THAT(SampleNode::living, ::testing::UnorderedElementsAre(kept.get(), kept->next.get()));
    EXPECT_EQ(kept->others[0], kept);
}

// Reads one datum over another one, and gives the size of what it is then.
struct Counted {
    const char* name;
    unsigned int fits;  // into 7 bytes
    std::function<uint64(Archive&)> read;
};

template <class T>
constexpr unsigned int kFits = 7 / (std::is_same_v<T, std::string> ? sizeof(uint32) : sizeof(T));

template <class T>
Counted Over(const char* name, unsigned int fits, const T& old,
             Archive& (Archive::*serialize)(const StringView&, T&)) {
    return {name, fits, [=](Archive& archive) -> uint64 {
                T target = old;
                (archive.*serialize)("", target);
                return target.size();
            }};
}

TEST_F(BinaryDamageTest, CountsThatCannotBeMetLeaveNothingAndAreReportedOnce) {
    using Objects = Array<RefPtr<Object>>;
    const Counted cases[] = {Over<std::string>("string", 7, "old", &Archive::SerializeString),
                             Over("bool", 7, std::vector<bool>(3), &Archive::SerializeBoolArray),
                             Over("objects", 0, Objects(3), &Archive::SerializeObjectArray),
                             Over("structures", 7, Array<bool>(3), &Archive::Serialize<bool>),
#define KIV_CASES(Type, Name)                                                   \
    Over(#Name, kFits<Type>, Array<Type>(3), &Archive::Serialize##Name##Array), \
        Over(#Name, kFits<Type>, std::vector<Type>(3), &Archive::Serialize##Name##Array),
                             KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_CASES)
#undef KIV_CASES
    };
    for (const Counted& c : cases) {
        // Nearly as many as fit, and far more.
        for (const uint32 count : {c.fits, c.fits + 1, 0x20000001u, 0x80000000u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(std::string(c.name) + ' ' + std::to_string(count));
            ByteBufferWriter writer;
            writer.AppendUInt32(count);
            writer.AppendBytes(Bytes(7, 0));
            BinaryInputArchive archive(ArrayView<const unsigned char>(writer.data(), 11), {});

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
    for (const Bytes& claim : {Bytes{0, 0, 0, 0x40, 'x'},           // a name past the end
                               Bytes{0xFF, 0xFF, 0xFF, 0xFF, 'x'},  // and far past it
                               Bytes{0, 0, 0, 1, 'x', 0xFF, 0xFF, 0xFF, 0xFF}}) {  // a payload
        Bytes bytes = {1, 0, 0, 0, 0, 0, 0, 0, 5};
        bytes.insert(bytes.end(), claim.begin(), claim.end());
        RefPtr<Object> object;
        testing::BinaryForm::Read(bytes,
                                  [&](Archive& archive) { archive.SerializeObject("", object); });
        EXPECT_FALSE(object);
        EXPECT_THAT(log.Take(), ::testing::Not(IsEmpty()));
    }
}

}  // namespace
}  // namespace kiv
