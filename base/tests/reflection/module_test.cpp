// Two modules on one registry: this program, and a library that it loads.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "kiv/base/object.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"
#include "reflection/module/moduleTypes.h"
#include "support/logCatcher.h"

namespace module_test {

const bool kShared = kiv::Registration::Class<Shared>("module_test::Shared")
                         .Property("number", &Shared::number)
                         .Creatable();

}  // namespace module_test

namespace kiv {
namespace {

using module_test::ModuleReport;
using module_test::Record;
using module_test::Shared;

TEST(ModuleTest, SecondModuleSharesTypesAndStaysInMemory) {
    ASSERT_TRUE(module_test::kShared);
    const Type record = Type::Declare<Record>();
    testing::LogCatcher log;

    void* const module = ::dlopen(KIV_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << ::dlerror();
    const auto report_function =
        reinterpret_cast<module_test::ReportFunction>(::dlsym(module, "KivTestModuleReport"));
    ASSERT_NE(report_function, nullptr);
    ModuleReport report{};
    report_function(report);

    // One record a type, whoever declared it first; the second registration was refused and told.
    EXPECT_EQ(report.shared, Type::Get<Shared>());
    EXPECT_EQ(report.record, record);
    EXPECT_EQ(report.integers, Type::Get<Array<int>>());
    EXPECT_FALSE(report.sharedRegistered);
    EXPECT_TRUE(report.newcomerRegistered);
    EXPECT_EQ(log.Take().size(), 1u);
    EXPECT_TRUE(Type::Get<Shared>().GetProperty("x").IsEmpty());

    // Values cross the border although each module has its own table for the record.
    EXPECT_EQ(report.recordValue, Value(Record{1, 2, 3}));
    EXPECT_EQ(report.recordValue.Get<Record>().b, 2);
    EXPECT_EQ(report.integerValue.Get<int>(), 5);

    // Closed, but not gone: types, factories and values of the module still work.
    EXPECT_EQ(::dlclose(module), 0);
    const Type newcomer = Type::Find("module_test::Newcomer");
    EXPECT_EQ(newcomer.GetRawName(), StringView("class module_test::Newcomer"));
    const RefPtr<Object> made = newcomer.CreateInstance().Get<RefPtr<Object>>();
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsInstanceOf<Shared>());
    EXPECT_EQ(made->GetProperty("weight").Get<double>(), 2.5);
    EXPECT_EQ(made->GetProperty("number").Get<int>(), 1);
    void* const still = ::dlopen(KIV_TEST_MODULE, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_NE(still, nullptr);
    if (still)
        ::dlclose(still);
}

}  // namespace
}  // namespace kiv
