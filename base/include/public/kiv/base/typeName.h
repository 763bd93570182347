// The raw name of a type: the text under which stored archives know it, composed at compile time
// and spelled alike by every compiler.
//
//     static_assert(kiv::detail::RawName<kiv::Array<kiv::RefPtr<kiv::Object>>>() ==
//                   "class kiv::Array<class kiv::RefPtr<class kiv::Object> >");
//
// A built-in type and the few types listed below have a given spelling. A class is "class ", an
// enumeration "enum " and the qualified name; the arguments of a template follow by recursion, with
// a blank before a closing ">" that follows another. Qualifiers and pointers stand behind what they
// apply to. A type that has no name of its own everywhere (in an unnamed namespace, in a function,
// a member of a class template) is refused at compile time where the compiler's text shows it, and
// reported by the registry where it does not: give such a type a name with KIV_RAW_NAME. So does a
// type in an inline namespace, which some compilers print and others leave out.
#ifndef KIV_BASE_TYPE_NAME_H_
#define KIV_BASE_TYPE_NAME_H_

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kiv/base/integers.h"
#include "kiv/base/stringView.h"

namespace kiv::detail {

/// The spelling that replaces the composed one; see KIV_RAW_NAME.
template <class T>
struct GivenRawName;

template <std::size_t N>
struct FixedText {
    std::array<char, N + 1> chars{};
    constexpr std::string_view View() const { return {chars.data(), N}; }
};

template <std::size_t... N>
constexpr auto Concat(const FixedText<N>&... parts) {
    FixedText<(N + ... + 0)> result;
    std::size_t at = 0;
    const auto append = [&](std::string_view part) {
        for (char c : part)
            result.chars[at++] = c;
    };
    (append(parts.View()), ...);
    return result;
}

template <std::size_t N>
constexpr FixedText<N - 1> Text(const char (&literal)[N]) {
    FixedText<N - 1> result;
    for (std::size_t i = 0; i + 1 < N; ++i)
        result.chars[i] = literal[i];
    return result;
}

template <class T>
consteval const char* Signature() {
#if defined(__clang__) || defined(__GNUC__)
    return __PRETTY_FUNCTION__;
#else
#error "Tell how this compiler spells the signature of a function"
#endif
}

/// The compiler's own text for `T`, cut out of a signature whose other parts a probe type measures.
template <class T>
consteval std::string_view CompilerText() {
    constexpr std::string_view probe = Signature<int>();
    constexpr std::size_t prefix = probe.rfind("int");
    constexpr std::size_t suffix = probe.size() - prefix - 3;
    const std::string_view text = Signature<T>();
    return text.substr(prefix, text.size() - prefix - suffix);
}

// The inline namespace in which one standard library keeps its strings and lists; some compilers
// print it, others do not.
inline constexpr std::string_view kAbiNamespace = "__cxx11::";

/// `Text` without the template arguments at its end and without the inline namespace.
template <class T, bool IsTemplate>
consteval auto QualifiedName() {
    constexpr auto cut = [] {
        std::string_view text = CompilerText<T>();
        if constexpr (IsTemplate) {
            std::size_t depth = 0;
            std::size_t at = text.size();
            do {
                --at;
                if (text[at] == '>')
                    ++depth;
                if (text[at] == '<')
                    --depth;
            } while (depth != 0);
            text = text.substr(0, at);
        }
        return text;
    }();
    static_assert(
        cut.find_first_of("({< ") == std::string_view::npos,
        "This type has no name of its own that is the same everywhere: move it to a named "
        "namespace, or name it with KIV_RAW_NAME.");
    constexpr std::size_t at = cut.find(kAbiNamespace);
    constexpr std::size_t skipped = at == std::string_view::npos ? 0 : kAbiNamespace.size();
    FixedText<cut.size() - skipped> result;
    for (std::size_t from = 0, to = 0; from < cut.size(); ++from) {
        if (skipped != 0 && from == at)
            from += skipped;
        result.chars[to++] = cut[from];
    }
    return result;
}

template <class T>
consteval auto Category() {
    if constexpr (std::is_enum_v<T>)
        return Text("enum ");
    else if constexpr (std::is_union_v<T>)
        return Text("union ");
    else
        return Text("class ");
}

template <class T>
concept HasGivenRawName = requires {
    GivenRawName<T>::text;
};

template <class T>
struct RawNameText;

template <class T>
inline constexpr auto raw_name_text = RawNameText<T>::Compose();

template <class T>
struct RawNameText {
    static consteval auto Compose() {
        if constexpr (HasGivenRawName<T>) {
            return GivenRawName<T>::text;
        } else {
            static_assert(std::is_class_v<T> || std::is_enum_v<T> || std::is_union_v<T>,
                          "This kind of type cannot be reflected.");
            return Concat(Category<T>(), QualifiedName<T, false>());
        }
    }
};

template <class T>
requires(!HasGivenRawName<const T>) struct RawNameText<const T> {
    static consteval auto Compose() { return Concat(raw_name_text<T>, Text(" const")); }
};

template <class T>
struct RawNameText<T*> {
    static consteval auto Compose() { return Concat(raw_name_text<T>, Text("*")); }
};

template <template <class...> class Template, class First, class... Rest>
requires(!HasGivenRawName<Template<First, Rest...>>) struct RawNameText<Template<First, Rest...>> {
    static consteval auto Compose() {
        constexpr auto arguments =
            Concat(raw_name_text<First>, Concat(Text(","), raw_name_text<Rest>)...);
        constexpr auto front = Concat(Category<Template<First, Rest...>>(),
                                      QualifiedName<Template<First, Rest...>, true>(), Text("<"));
        if constexpr (arguments.View().back() == '>')
            return Concat(front, arguments, Text(" >"));
        else
            return Concat(front, arguments, Text(">"));
    }
};

/// The raw name of `T`, null-terminated static text.
template <class T>
consteval StringView RawName() {
    return raw_name_text<T>.View();
}

#define KIV_DETAIL_GIVEN_RAW_NAME(Type, literal)                   \
    template <>                                                    \
    struct GivenRawName<Type> {                                    \
        static constexpr auto text = ::kiv::detail::Text(literal); \
    };

KIV_DETAIL_GIVEN_RAW_NAME(void, "void")
KIV_DETAIL_GIVEN_RAW_NAME(bool, "bool")
KIV_DETAIL_GIVEN_RAW_NAME(char, "char")
KIV_DETAIL_GIVEN_RAW_NAME(signed char, "signed char")
KIV_DETAIL_GIVEN_RAW_NAME(unsigned char, "unsigned char")
KIV_DETAIL_GIVEN_RAW_NAME(wchar_t, "wchar_t")
KIV_DETAIL_GIVEN_RAW_NAME(char8_t, "char8_t")
KIV_DETAIL_GIVEN_RAW_NAME(char16_t, "char16_t")
KIV_DETAIL_GIVEN_RAW_NAME(char32_t, "char32_t")
KIV_DETAIL_GIVEN_RAW_NAME(short, "short")
KIV_DETAIL_GIVEN_RAW_NAME(unsigned short, "unsigned short")
KIV_DETAIL_GIVEN_RAW_NAME(int, "int")
KIV_DETAIL_GIVEN_RAW_NAME(unsigned int, "unsigned int")
KIV_DETAIL_GIVEN_RAW_NAME(float, "float")
KIV_DETAIL_GIVEN_RAW_NAME(double, "double")
KIV_DETAIL_GIVEN_RAW_NAME(long double, "long double")
KIV_DETAIL_GIVEN_RAW_NAME(std::nullptr_t, "std::nullptr_t")
KIV_DETAIL_GIVEN_RAW_NAME(int64, "__int64")
KIV_DETAIL_GIVEN_RAW_NAME(uint64, "unsigned __int64")
KIV_DETAIL_GIVEN_RAW_NAME(std::char_traits<char>, "struct std::char_traits<char>")

// Of `long` and `long long` one is the 64-bit integer named above; the other has its own name.
using OtherLong = std::conditional_t<std::is_same_v<int64, long>, long long, long>;
using OtherUnsignedLong = std::make_unsigned_t<OtherLong>;
template <>
struct GivenRawName<OtherLong> {
    static constexpr auto text = [] {
        if constexpr (std::is_same_v<OtherLong, long long>)
            return Text("long long");
        else
            return Text("long");
    }();
};
template <>
struct GivenRawName<OtherUnsignedLong> {
    static constexpr auto text = Concat(Text("unsigned "), GivenRawName<OtherLong>::text);
};

}  // namespace kiv::detail

/// Gives `Type` the raw name `literal`, which must be unique in the process and stay the same for
/// as long as archives are kept. Stands outside all namespaces, before `Type` is first reflected.
#define KIV_RAW_NAME(Type, literal)                                \
    template <>                                                    \
    struct kiv::detail::GivenRawName<Type> {                       \
        static constexpr auto text = ::kiv::detail::Text(literal); \
    };

#endif  // KIV_BASE_TYPE_NAME_H_
