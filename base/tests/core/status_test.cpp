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
    EXPECT_EQ(Status(), Status::Success);
}

TEST(StatusTest, EqualityLooksAtTheCodeAlone) {
    const Status told(Status::Failure.code(), std::string("disk full"));

    EXPECT_EQ(told, Status::Failure);
    EXPECT_NE(told, Status::Success);
    EXPECT_EQ(told.Message(), "disk full");
    EXPECT_EQ(Status(Status::Failure.code(), "text").Message(), "");
    EXPECT_EQ(Status(Status::Failure.code(), "%d of %s", 1, "two").Message(), "");
}

TEST(StatusTest, MovedFromStatusKeepsItsCodeAndLosesItsMessage) {
    Status source(StatusCode{7}, std::string("text"));

    Status taken(std::move(source));
    EXPECT_EQ(source.code(), StatusCode{7});
    EXPECT_EQ(source.Message(), "");
    EXPECT_EQ(taken.Message(), "text");

    Status& self = taken;
    taken = std::move(self);
    EXPECT_EQ(taken.Message(), "text");
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
    EXPECT_EQ(assigned.code(), StatusCode{7});
    EXPECT_EQ(assigned.Message(), "text");

    copy = Status::InvalidCast;
    EXPECT_EQ(copy, Status::InvalidCast);
    EXPECT_EQ(copy.Message(), "");
    EXPECT_EQ(told.Message(), "text");
    EXPECT_EQ(assigned.Message(), "text");

    Status& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.Message(), "text");
    StatusPtr bound(&assigned);
    EXPECT_EQ(assigned, Status::Success);
    EXPECT_EQ(assigned.Message(), "");
}

TEST(StatusTest, IsABoolAndStillComparesByCode) {
    const auto succeeded = [](const Status& status) -> bool { return status; };

    EXPECT_TRUE(succeeded(Status::Success));
    EXPECT_FALSE(succeeded(Status::Failure));
    EXPECT_FALSE(Status::Failure == Status::InvalidCast);  // though both are false
    EXPECT_TRUE(Status::Failure == StatusCode{2});
}

TEST(StatusTest, BindingAStatusPtrResetsTheTarget) {
    Status status = Status::Failure;
    {
        StatusPtr bound(&status);
        EXPECT_EQ(status, Status::Success);
        bound = Status::InvalidCast;
    }
    EXPECT_EQ(status, Status::InvalidCast);

    StatusPtr nowhere(nullptr);
    nowhere = Status::Failure;
}

}  // namespace
}  // namespace kiv
