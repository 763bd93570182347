#include "kiv/base/typeName.h"

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/bufferObject.h"
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

struct NameCase {
    StringView composed;
    const char* expected;
};

// Stored archives hold these texts: every compiler has to come to the same ones.
constexpr NameCase kNames[] = {
    {detail::RawName<bool>(), "bool"},
    {detail::RawName<char>(), "char"},
    {detail::RawName<signed char>(), "signed char"},
    {detail::RawName<unsigned char>(), "unsigned char"},
    {detail::RawName<short>(), "short"},
    {detail::RawName<unsigned short>(), "unsigned short"},
    {detail::RawName<int>(), "int"},
    {detail::RawName<unsigned int>(), "unsigned int"},
    {detail::RawName<std::int64_t>(), "__int64"},
    {detail::RawName<std::uint64_t>(), "unsigned __int64"},
    {detail::RawName<float>(), "float"},
    {detail::RawName<double>(), "double"},
    {detail::RawName<std::string>(),
     "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >"},
    {detail::RawName<Object>(), "class kiv::Object"},
    {detail::RawName<BufferObject>(), "class kiv::BufferObject"},
    {detail::RawName<Object*>(), "class kiv::Object*"},
    {detail::RawName<const Object*>(), "class kiv::Object const*"},
    {detail::RawName<Object* const>(), "class kiv::Object* const"},
    {detail::RawName<RefPtr<Object>>(), "class kiv::RefPtr<class kiv::Object>"},
    {detail::RawName<detail::invalid_type>(), "struct kiv::detail::invalid_type"},
    {detail::RawName<Vector3f>(), "class kiv::Vector3f"},
    {detail::RawName<Token>(), "class kiv::Token"},
    {detail::RawName<Array<float>>(), "class kiv::Array<float>"},
    {detail::RawName<Array<Posed>>(), "class kiv::Array<class kiv::Posed>"},
    {detail::RawName<Array<Array<Posed>>>(),
     "class kiv::Array<class kiv::Array<class kiv::Posed> >"},
    {detail::RawName<Array<RefPtr<Object>>>(),
     "class kiv::Array<class kiv::RefPtr<class kiv::Object> >"},
    {detail::RawName<GlobalForTypeName>(), "class GlobalForTypeName"},
    {detail::RawName<typename_test::Plain>(), "class typename_test::Plain"},
    {detail::RawName<typename_test::Record>(), "class typename_test::Record"},
    {detail::RawName<typename_test::Either>(), "union typename_test::Either"},
    {detail::RawName<typename_test::Unscoped>(), "enum typename_test::Unscoped"},
    {detail::RawName<typename_test::Scoped>(), "enum typename_test::Scoped"},
    {detail::RawName<typename_test::Pair<int, Array<typename_test::Plain>>>(),
     "class typename_test::Pair<int,class kiv::Array<class typename_test::Plain> >"},
    {detail::RawName<std::vector<int>>(), "class std::vector<int,class std::allocator<int> >"},
    {detail::RawName<RenamedForTypeName>(), "a name of its own"},
    {detail::RawName<Array<RenamedForTypeName>>(), "class kiv::Array<a name of its own>"},
};

TEST(TypeNameTest, NamesAreThoseOfStoredArchives) {
    for (const NameCase& c : kNames)
        EXPECT_EQ(std::string(c.composed), c.expected);
}

TEST(TypeNameTest, NoTwoTypesShareAName) {
    std::set<std::string> names;
    for (const NameCase& c : kNames)
        EXPECT_TRUE(names.insert(std::string(c.composed)).second) << c.expected;
    for (const StringView name :
         {detail::RawName<long>(), detail::RawName<long long>(), detail::RawName<wchar_t>(),
          detail::RawName<char8_t>(), detail::RawName<long double>()})
        names.insert(std::string(name));
    EXPECT_EQ(names.size(), std::size(kNames) + 4);  // one of the longs is __int64
}

TEST(TypeNameTest, NameIsNullTerminated) {
    EXPECT_STREQ(detail::RawName<Array<Vector3f>>().data(),
                 "class kiv::Array<class kiv::Vector3f>");
}

}  // namespace
}  // namespace kiv
