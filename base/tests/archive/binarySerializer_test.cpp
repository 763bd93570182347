#include "kiv/base/binarySerializer.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "archive/sampleObjects.h"
#include "kiv/base/archive.h"
#include "support/logCatcher.h"

namespace kiv {
namespace {

using ::testing::ElementsAre;
using testing::LogCatcher;
using testing::LogLine;
using testing::SampleScript;

constexpr char kDomain[] = "[domain:kiv.base][tag:BinarySerializer]";

TEST(BinarySerializerTest, KeepsTheFormInItsBuffer) {
    SampleScript::body = [](SampleScript&, Archive& archive) {
        EXPECT_TRUE(archive.GetOptions().contains("sample"));
    };
    const std::unordered_map<std::string, Value> options = {{"sample", Value(1)}};
    BinarySerializer serializer(options);
    EXPECT_EQ(serializer.Serialize(nullptr), Status::Success);
    EXPECT_EQ(serializer.GetBuffer(), std::vector<unsigned char>(9));
    Status status = Status::Failure;
    EXPECT_FALSE(serializer.Deserialize("SampleNode", &status));
    EXPECT_EQ(status, Status::Success);

    EXPECT_TRUE(serializer.Serialize(MakeRefCounted<SampleScript>()));
    BinarySerializer other(options);
    other.SetBuffer(serializer.GetBuffer());
    // The stored type counts, not the one that is named.
    const RefPtr<Object> read = other.Deserialize("SampleNode", nullptr);
    EXPECT_TRUE(read && read->IsInstanceOf<SampleScript>());
}

TEST(BinarySerializerTest, FailuresAreLoggedAndChangeNothing) {
    BinarySerializer serializer({});
    ASSERT_TRUE(serializer.Serialize(nullptr));
    LogCatcher log;
    Status status;
    EXPECT_FALSE(serializer.Deserialize("SampleNobody", &status));
    EXPECT_EQ(status, Status::Failure);
    EXPECT_FALSE(serializer.Deserialize("", nullptr));

    SampleScript::body = [](SampleScript&, Archive&) { throw std::runtime_error("enough"); };
    EXPECT_EQ(serializer.Serialize(MakeRefCounted<SampleScript>()), Status::Failure);
    EXPECT_EQ(serializer.GetBuffer(), std::vector<unsigned char>(9));
    SampleScript::body = [](SampleScript&, Archive&) {};
    ASSERT_TRUE(serializer.Serialize(MakeRefCounted<SampleScript>()));
    log.Take();
    SampleScript::body = [](SampleScript&, Archive&) { throw std::runtime_error("enough"); };
    spdlog::default_logger()->set_level(spdlog::level::info);
    status = Status::Success;
    EXPECT_FALSE(serializer.Deserialize("SampleNode", &status));
    EXPECT_EQ(status, Status::Failure);
    EXPECT_THAT(
        log.Take(),
        ElementsAre(LogLine{LogLevel::Error, std::string(kDomain) +
                                                 "Deserialize failed: enough, type: SampleNode"}));
    EXPECT_FALSE(serializer.Deserialize("SampleNobody", &status));
    EXPECT_FALSE(serializer.Serialize(MakeRefCounted<SampleScript>()));
    EXPECT_THAT(
        log.Take(),
        ElementsAre(
            LogLine{LogLevel::Error, std::string(kDomain) + "Can't find object type: "
                                                            "SampleNobody, Please register it."},
            LogLine{LogLevel::Error, std::string(kDomain) + "Serialize failed: enough"}));
    SampleScript::body = nullptr;
}

}  // namespace
}  // namespace kiv
