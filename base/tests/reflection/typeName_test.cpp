#include "kiv/base/typeName.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/geometry.h"
#include "kiv/base/object.h"

namespace typename_test {

class Plain {};
struct Record {};
union Either {};
enum Unscoped { kItem };
enum class Scoped : unsigned char { Item };
template <class First, class Second>
class Pair {};

}  // namespace typename_test

class GlobalForTypeName {};
struct RenamedForTypeName {};
KIV_RAW_NAME(::RenamedForTypeName, "a name of its own")

namespace kiv {
namespace {

// Stored archives hold these texts: every compiler has to come to the same ones.
constexpr struct {
    StringView composed;
    const char* expected;
} kNames[] = {
#define KIV_NAME(expected, ...) \
    { detail::RawName<__VA_ARGS__>(), expected }
    KIV_NAME("bool", bool),
    KIV_NAME("char", char),
    KIV_NAME("signed char", signed char),
    KIV_NAME("unsigned char", unsigned char),
    KIV_NAME("short", short),
    KIV_NAME("unsigned short", unsigned short),
    KIV_NAME("int", int),
    KIV_NAME("unsigned int", unsigned int),
    KIV_NAME("__int64", std::int64_t),
    KIV_NAME("unsigned __int64", std::uint64_t),
    KIV_NAME("float", float),
    KIV_NAME("double", double),
    KIV_NAME(
        "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >",
        std::string),
    KIV_NAME("class kiv::Object", Object),
    KIV_NAME("class kiv::Object*", Object*),
    KIV_NAME("class kiv::Object const*", const Object*),
    KIV_NAME("class kiv::Object* const", Object* const),
    KIV_NAME("struct kiv::detail::invalid_type", detail::invalid_type),
    KIV_NAME("class kiv::Vector3f", Vector3f),
    KIV_NAME("class kiv::Token", Token),
    KIV_NAME("class kiv::Array<float>", Array<float>),
    KIV_NAME("class kiv::Array<class kiv::Array<class kiv::Posed> >", Array<Array<Posed>>),
    KIV_NAME("class kiv::Array<class kiv::RefPtr<class kiv::Object> >", Array<RefPtr<Object>>),
    KIV_NAME("class GlobalForTypeName", GlobalForTypeName),
    KIV_NAME("class typename_test::Record", typename_test::Record),
    KIV_NAME("union typename_test::Either", typename_test::Either),
    KIV_NAME("enum typename_test::Unscoped", typename_test::Unscoped),
    KIV_NAME("enum typename_test::Scoped", typename_test::Scoped),
    KIV_NAME("class typename_test::Pair<int,class kiv::Array<class typename_test::Plain> >",
             typename_test::Pair<int, Array<typename_test::Plain>>),
    KIV_NAME("class std::vector<int,class std::allocator<int> >", std::vector<int>),
    KIV_NAME("class kiv::Array<a name of its own>", Array<RenamedForTypeName>),
#undef KIV_NAME
};

TEST(TypeNameTest, NamesAreThoseOfStoredArchivesAndEachIsOneTypes) {
    std::set<std::string> names;
    for (const auto& c : kNames) {
        EXPECT_STREQ(c.composed.data(), c.expected);
        EXPECT_EQ(c.composed.size(), std::strlen(c.expected));
        EXPECT_TRUE(names.insert(std::string(c.composed)).second) << c.expected;
    }
    for (const StringView name :
         {detail::RawName<long>(), detail::RawName<long long>(), detail::RawName<wchar_t>(),
          detail::RawName<char8_t>(), detail::RawName<long double>()})
        names.insert(std::string(name));
    EXPECT_EQ(names.size(), std::size(kNames) + 4);  // one of the longs is __int64
}

}  // namespace
}  // namespace kiv
