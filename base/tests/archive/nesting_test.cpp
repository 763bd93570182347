// Data that is nested more deeply than the stack allows, and nearly so.
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <ucontext.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/binarySerializer.h"
#include "kiv/base/byteBuffer.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/jsonSerializer.h"

namespace kiv {
namespace {

struct Tree {
    Array<Tree> children;
};

}  // namespace

template <>
struct ArchiveSerializer<Tree> {
    static void Serialize(Archive& archive, Tree& tree) {
        archive.Serialize<Tree>("children", tree.children);
    }
};

namespace {

using testing::Document;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::MakeChain;
using testing::SampleNode;
using testing::SampleScript;
using ::testing::StartsWith;

constexpr int kEndless = 300000;
#if defined(__SANITIZE_THREAD__)
// The thread sanitizer keeps its own data of a thread on the stack, and its frames are larger.
constexpr std::size_t kSmallStack = 1024 * 1024;
#else
constexpr std::size_t kSmallStack = 256 * 1024;
#endif
constexpr int kFitsASmallStack = 8;

std::string Repeated(const std::string& text) {
    std::string all;
    for (int i = 0; i < kEndless; ++i)
        all += text;
    return all;
}

// The document of a ring of objects that read nothing but a reference.
std::string RingDocument() {
    std::string map;
    for (int id = 1; id <= kEndless; ++id)
        map += (id > 1 ? ",\"" : "\"") + std::to_string(id) + R"(":{"r":{"INSTANCE_ID":)" +
               std::to_string(id % kEndless + 1) + R"(},"KIV_TYPE_NAME":"Sample\"Script"})";
    return Document(R"({"Object":{"INSTANCE_ID":1}})", map);
}

// The stream of a chain of such objects, of which each holds the next.
std::vector<unsigned char> ChainStream() {
    const StringView name = "Sample\"Script";
    ByteBufferWriter writer;
    for (int id = 1; id <= kEndless; ++id) {
        writer.AppendUInt8(1);
        writer.AppendUInt64(static_cast<uint64>(id));
        writer.AppendUInt32(static_cast<uint32>(name.size()));
        writer.AppendString(name);
        writer.AppendUInt32(0);
    }
    return {writer.data(), writer.data() + writer.size()};
}

void OnASmallThread(const std::function<void()>& work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kSmallStack);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run,
                             const_cast<void*>(static_cast<const void*>(&work))),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// A stack that the thread library knows nothing of.
void OnAFiber(const std::function<void()>& work) {
    static ucontext_t here;
    static ucontext_t fiber;
    static const std::function<void()>* job;
    const std::size_t guard = 4096;
    void* const memory =
        mmap(nullptr, guard + kSmallStack, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    void* const stack = static_cast<char*>(memory) + guard;
    ASSERT_EQ(mprotect(stack, kSmallStack, PROT_READ | PROT_WRITE), 0);
    job = &work;
    getcontext(&fiber);
    fiber.uc_stack.ss_sp = stack;
    fiber.uc_stack.ss_size = kSmallStack;
    fiber.uc_link = &here;
    makecontext(
        &fiber, +[] { (*job)(); }, 0);
    swapcontext(&here, &fiber);
    munmap(memory, guard + kSmallStack);
}
#endif

class NestingTest : public testing::ObjectTest {
protected:
    NestingTest() : endless_(MakeChain(kEndless)) {
        SampleScript::body = [](SampleScript& self, Archive& archive) {
            archive.SerializeObject("r", self.reference);
        };
        json_.SetSerializeString(RingDocument());
        binary_.SetBuffer(ChainStream());
    }
    ~NestingTest() override { SampleNode::CutAll(); }

    void ExpectOneError(const std::string& tag, const std::string& operation) {
        EXPECT_THAT(
            TakeLog(),
            ElementsAre(StartsWith("[tag:" + tag + "]" + operation +
                                   " failed: Objects are nested too deeply for the stack")));
    }

    // The serializer holds the stored form of an endless chain.
    void EndlessChainsFailAndShortOnesPass(const std::string& tag, Serializer& serializer) {
        SCOPED_TRACE(tag);
        Status status;
        EXPECT_FALSE(serializer.Deserialize("SampleNode", &status));
        EXPECT_EQ(status, Status::Failure);
        ExpectOneError(tag, "Deserialize");
        EXPECT_EQ(SampleScript::alive, 0);
        EXPECT_EQ(serializer.Serialize(endless_), Status::Failure);
        ExpectOneError(tag, "Serialize");

        EXPECT_TRUE(serializer.Serialize(MakeChain(kFitsASmallStack)));
        const RefPtr<Object> read = serializer.Deserialize("SampleNode", nullptr);
        ASSERT_TRUE(read);
        EXPECT_EQ(static_cast<SampleNode&>(*read).count, kFitsASmallStack - 1);
        EXPECT_THAT(log.Take(), IsEmpty());
    }
    void EachFormFailsAndPasses() {
        Status status;
        EXPECT_EQ(json_.GetDisplayString(endless_, &status), "");
        EXPECT_EQ(status, Status::Failure);
        ExpectOneError("JsonSerializer", "GetDisplayString");
        EndlessChainsFailAndShortOnesPass("JsonSerializer", json_);
        EndlessChainsFailAndShortOnesPass("BinarySerializer", binary_);
    }

    RefPtr<SampleNode> endless_;
    JsonSerializer json_{{}};
    BinarySerializer binary_{{}};
};

#if !defined(__SANITIZE_THREAD__)  // which records the whole stack of each allocation
TEST_F(NestingTest, OnTheMainThread) {
    EachFormFailsAndPasses();

    constexpr int kFitsALargeStack = 500;
    for (Serializer* serializer :
         {static_cast<Serializer*>(&json_), static_cast<Serializer*>(&binary_)}) {
        EXPECT_TRUE(serializer->Serialize(MakeChain(kFitsALargeStack)));
        EXPECT_TRUE(serializer->Deserialize("SampleNode", nullptr));
    }
}
#endif

TEST_F(NestingTest, OnAThreadWithASmallStack) {
    OnASmallThread([this] { EachFormFailsAndPasses(); });
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(NestingTest, OnAFiber) {
    OnAFiber([this] { EachFormFailsAndPasses(); });
}
#endif

TEST(StructureNestingTest, StopsWhereTheStackDoes) {
    const auto read = [](Archive& archive) {
        Array<Tree> trees;
        EXPECT_THROW(archive.Serialize<Tree>("children", trees), std::runtime_error);
    };
    testing::JsonForm::Read(Document(Repeated(R"({"children":[)") + Repeated("]}")), read);
    const std::string counts = Repeated(std::string("\0\0\0\1", 4));
    testing::BinaryForm::Read({counts.begin(), counts.end()}, read);
}

TEST(JsonBracketsTest, DeepBracketsAreReadAndNotShown) {
    const std::string pairs[][2] = {{"[", "]"}, {R"({"a":)", "}"}};
    for (const auto& [open, close] : pairs) {
        JsonInputArchive archive({});
        archive.FromString(Document("{\"deep\":" + Repeated(open) + "0" + Repeated(close) + "}"));
        std::vector<double> list;
        EXPECT_THROW(archive.SerializeDoubleArray("deep", list), std::invalid_argument);
        EXPECT_THROW(archive.GetDisplayJson("", ""), std::runtime_error);
    }
}

}  // namespace
}  // namespace kiv
