#include "kiv/base/status.h"

#include <gtest/gtest.h>

namespace kiv {
namespace {

TEST(StatusTest, ConstantsHaveTheCodesThatCallersStore) {
    const struct {
        const Status& status;
        uint32 code;
    } cases[] = {
        {Status::Success, 0},       {Status::Failure, 2},          {Status::InsufficientMemory, 3},
        {Status::InvalidCast, 4},   {Status::InvalidOperation, 5}, {Status::InvalidParameter, 6},
        {Status::NotImplemented, 9}};
    for (const auto& c : cases) {
        EXPECT_EQ(static_cast<uint32>(c.status.code()), c.code);
        EXPECT_EQ(static_cast<bool>(c.status), c.code == 0);
        EXPECT_EQ(c.status.Message(), "");
    }
}

TEST(StatusTest, EqualityLooksAtTheCodeAlone) {
    const Status told(Status::Failure.code(), std::string("disk full"));

    EXPECT_EQ(told, Status::Failure);
    EXPECT_FALSE(told == Status::InvalidCast);  // though both are false
    EXPECT_TRUE(told == StatusCode{2});
    EXPECT_EQ(told.Message(), "disk full");
    EXPECT_EQ(Status(Status::Failure.code(), "text").Message(), "");
    EXPECT_EQ(Status(Status::Failure.code(), "%d of %s", 1, "two").Message(), "");
}

TEST(StatusTest, MovedFromStatusKeepsItsCodeAndLosesItsMessage) {
    Status source(StatusCode{7}, std::string("text"));

    Status taken(std::move(source));
    EXPECT_EQ(source.code(), StatusCode{7});
    EXPECT_EQ(source.Message(), "");

    Status& self = taken;
    taken = std::move(self);
    source = std::move(taken);
    EXPECT_EQ(source.Message(), "text");
    EXPECT_EQ(taken.code(), StatusCode{7});
}

TEST(StatusTest, CopiesHaveMessagesOfTheirOwn) {
    const Status told(StatusCode{7}, std::string("text"));
    Status copy = told;
    Status assigned(StatusCode{8}, std::string("other"));
    assigned = told;
    EXPECT_EQ(copy.Message(), "text");

    copy = Status::InvalidCast;
    EXPECT_EQ(copy, Status::InvalidCast);
    EXPECT_EQ(copy.Message(), "");
    EXPECT_EQ(told.Message(), "text");

    Status& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.code(), StatusCode{7});
    EXPECT_EQ(assigned.Message(), "text");
}

TEST(StatusTest, BindingAStatusPtrResetsTheTarget) {
    Status status(StatusCode{7}, std::string("text"));
    StatusPtr bound(&status);
    EXPECT_EQ(status, Status::Success);
    EXPECT_EQ(status.Message(), "");
    bound = Status::InvalidCast;
    EXPECT_EQ(status, Status::InvalidCast);

    StatusPtr nowhere(nullptr);
    nowhere = Status::Failure;
}

}  // namespace
}  // namespace kiv
