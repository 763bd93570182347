#include "kiv/base/geometry.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kiv {
namespace {

template <class Record>
class RecordTest : public testing::Test {};

template <class, class... Records>
using TypesBehindFirst = testing::Types<Records...>;
#define KIV_AND_RECORD(Record) , Record
using Records = TypesBehindFirst<void KIV_FOR_EACH_RECORD(KIV_AND_RECORD)>;
#undef KIV_AND_RECORD
TYPED_TEST_SUITE(RecordTest, Records);

TYPED_TEST(RecordTest, DefaultIsAllZerosAndEqualityLooksAtEachNumber) {
    using Bytes = std::array<unsigned char, sizeof(TypeParam)>;
    constexpr std::size_t kNumber = alignof(TypeParam);

    EXPECT_EQ(std::bit_cast<Bytes>(TypeParam()), Bytes{});
    EXPECT_TRUE(TypeParam() == TypeParam());
    for (std::size_t i = 0; i < sizeof(TypeParam); i += kNumber) {
        Bytes bytes{};
        bytes[i + kNumber - 1] = 0x3f;  // 3e-5 as a double, 0.5 as a float
        EXPECT_FALSE(std::bit_cast<TypeParam>(bytes) == TypeParam()) << "byte " << i;
    }
}

template <class Number, class Record>
std::array<Number, 4> NumbersOf(const Record& record) {
    return std::bit_cast<std::array<Number, 4>>(record);
}

TEST(GeometryTest, FieldsLieInTheirStoredOrder) {
    const auto inOrder = ::testing::ElementsAre(1, 2, 3, 4);
    EXPECT_THAT(NumbersOf<float>(Colorf{.b = 1, .g = 2, .r = 3, .a = 4}), inOrder);
    EXPECT_THAT(NumbersOf<uint8>(Color{.b = 1, .g = 2, .r = 3, .a = 4}), inOrder);
    EXPECT_THAT(NumbersOf<float>(Quaternionf{.x = 1, .y = 2, .z = 3, .w = 4}), inOrder);
    EXPECT_THAT(NumbersOf<double>(Planed{.normal = {.x = 1, .y = 2, .z = 3}, .distance = 4}),
                inOrder);
    EXPECT_THAT(NumbersOf<int32>(Box2i{.min = {.x = 1, .y = 2}, .max = {.x = 3, .y = 4}}), inOrder);
    EXPECT_EQ(offsetof(Posed, rotation), sizeof(Vector3d));
    EXPECT_EQ(offsetof(Matrix4f, col3), 3 * sizeof(Vector4f));
}

TEST(GeometryTest, ToleranceIsStrictAbsoluteAndForComputedNumbersAlone) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        bool equal;
        bool expected;
    } cases[] = {
        {"within", Vector3d{1, 2, 3} == Vector3d{1, 2 + 1e-7, 3}, true},
        {"from below", Vector2d{0, 0} == Vector2d{-1e-7, 0}, true},
        {"just at it", Vector3d{0, 0, 0} == Vector3d{1e-6, 0, 0}, false},
        {"float just at it", Vector4f{} == Vector4f{0, 0, 0, 1e-6f}, false},
        {"float below it", Vector2f{} == Vector2f{0, 0.99e-6f}, true},
        {"NaN", Vector2d{kNaN, 0} == Vector2d{kNaN, 0}, false},
        {"size", Size2d{1, 1} == Size2d{1, 1 + 1e-7}, false},
        {"size in three", Size3f{} == Size3f{0, 0, 1e-7f}, false},
        {"normal", Planed{{0, 0, 1}, 1} == Planed{{0, 1e-7, 1}, 1}, true},
        {"distance", Planed{{0, 0, 1}, 1} == Planed{{0, 0, 1}, 1 + 1e-7}, false},
        {"matrix", Matrix3d{} == Matrix3d{{}, {}, {0, 0, 1e-7}}, true},
        {"pose", Posef{{}, {0, 0, 0, 1}} == Posef{{}, {0, 0, 0, 1 + 5e-7f}}, true},
        {"box", Box3f{} == Box3f{{}, {1e-7f, 0, 0}}, true},
        {"colour", Colorf{0, 0, 1, 1} == Colorf{0, 0, 1 - 5e-7f, 1}, true},
        {"bytes", Color{1, 2, 3, 4} == Color{3, 2, 1, 4}, false},
        {"far apart", Vector2i{INT32_MIN, 0} == Vector2i{INT32_MAX, 0}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.equal, c.expected) << c.name;
}

TEST(GeometryTest, NormalizeDividesByTheLengthAndDoesNotGuardZero) {
    const Vector3d source{2, -3, 6};

    EXPECT_EQ(source.Normalize(), (Vector3d{2.0 / 7, -3.0 / 7, 6.0 / 7}));
    EXPECT_EQ(source.x, 2);
    EXPECT_EQ((Vector3f{0, 0, 5}.Normalize()), (Vector3f{0, 0, 1}));
    EXPECT_TRUE(std::isnan(Vector3d{}.Normalize().x));
}

}  // namespace
}  // namespace kiv
