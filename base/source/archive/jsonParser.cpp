#include "archive/jsonParser.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "archive/jsonText.h"
#include "kiv/base/integers.h"

namespace kiv::internal {
namespace {

using rapidjson::ParseErrorCode;
using rapidjson::SizeType;

// Texts up to this size find room in their nodes. Put there they cost nothing now and a look
// elsewhere less when a member is searched by its name.
constexpr SizeType kShortText = 13;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

template <class T>
bool Convert(std::string_view number, T& out) {
    return std::from_chars(number.data(), number.data() + number.size(), out).ec == std::errc();
}

// Whether a number beyond the range of `double` is so because it is large: the power of ten of its
// first digit that isn't 0.
bool IsLarge(std::string_view number) {
    const std::size_t end = std::min(number.find_first_of("eE"), number.size());
    int64 power = 0;
    bool inFraction = false;
    bool significant = false;
    for (const char c : number.substr(0, end)) {
        significant = significant || (c >= '1' && c <= '9');
        if (c == '.')
            inFraction = true;
        else if (significant && !inFraction)
            ++power;
        else if (!significant && inFraction)
            --power;
    }
    std::string_view exponent = number.substr(std::min(end + 1, number.size()));
    if (exponent.starts_with('+'))
        exponent.remove_prefix(1);
    int shift = 0;
    if (!exponent.empty() && !Convert(exponent, shift))
        return exponent[0] != '-';
    return power + shift > 0;
}

// The code of four hexadecimal digits. False if they aren't.
bool ReadHex(const char* digits, unsigned& code) {
    code = 0;
    for (int i = 0; i < 4; ++i) {
        const char c = digits[i];
        const char lower = static_cast<char>(c | 0x20);
        if (IsDigit(c))
            code = code * 16 + static_cast<unsigned>(c - '0');
        else if (lower >= 'a' && lower <= 'f')
            code = code * 16 + static_cast<unsigned>(lower - 'a' + 10);
        else
            return false;
    }
    return true;
}

char* WriteUtf8(unsigned code, char* to) {
    const auto tail = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3F));
    };
    if (code < 0x80) {
        *to++ = static_cast<char>(code);
    } else if (code < 0x800) {
        *to++ = static_cast<char>(0xC0 | code >> 6);
        *to++ = tail(0);
    } else if (code < 0x10000) {
        *to++ = static_cast<char>(0xE0 | code >> 12);
        *to++ = tail(6);
        *to++ = tail(0);
    } else {
        *to++ = static_cast<char>(0xF0 | code >> 18);
        *to++ = tail(12);
        *to++ = tail(6);
        *to++ = tail(0);
    }
    return to;
}

// Up to a quote, a backslash or a control character. Looks up to eight bytes behind the zero that
// ends the text.
std::size_t LengthWithoutEscapes(const char* text) {
    std::size_t length = 0;
    uint64 word = 0;
    for (;; length += sizeof(word)) {
        std::memcpy(&word, text + length, sizeof(word));
        if (EscapesIn(word) != 0)
            break;
    }
    if constexpr (std::endian::native == std::endian::little)
        return length + static_cast<std::size_t>(std::countr_zero(EscapesIn(word)) / 8);
    while (!NeedsEscape(text[length]))
        ++length;
    return length;
}

class Parser {
public:
    Parser(char* text, rapidjson::Document& document) : at_(text), document_(document) {}

    ParseErrorCode Run();

private:
    struct Level {
        bool isObject;
        SizeType count;  // of the members or elements that are done
    };

    bool _Fail(ParseErrorCode code) {
        error_ = code;
        return false;
    }
    void _SkipDigits() {
        while (IsDigit(*at_))
            ++at_;
    }
    void _SkipBlanks() {
        while (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')
            ++at_;
    }
    bool _Take(char c) {
        if (*at_ != c)
            return false;
        ++at_;
        return true;
    }
    template <std::size_t N>
    bool _Take(const char (&text)[N]) {
        static_assert(N - 1 <= kJsonPadding);
        if (std::memcmp(at_, text, N - 1) != 0)
            return false;
        at_ += N - 1;
        return true;
    }
    bool _BeginValue();
    bool _EndValue();
    void _Open(bool isObject);
    void _Close();
    bool _Name();
    bool _String();
    bool _Unescape(char*& end);
    bool _Number();
    bool _NanOrInfinity(bool negative);

    char* at_;
    rapidjson::Document& document_;
    std::vector<Level> levels_;
    ParseErrorCode error_ = rapidjson::kParseErrorNone;
};

ParseErrorCode Parser::Run() {
    _SkipBlanks();
    if (*at_ == 0)
        return rapidjson::kParseErrorDocumentEmpty;
    do {
        if (!_BeginValue())
            return error_;
    } while (!levels_.empty());
    _SkipBlanks();
    return *at_ == 0 ? rapidjson::kParseErrorNone : rapidjson::kParseErrorDocumentRootNotSingular;
}

// A scalar or an opening bracket, and all that may follow until the next value begins.
bool Parser::_BeginValue() {
    switch (*at_) {
        case '{':
            _Open(true);
            if (!_Take('}'))
                return _Name();
            _Close();
            return _EndValue();
        case '[':
            _Open(false);
            if (!_Take(']'))
                return true;
            _Close();
            return _EndValue();
        case '"':
            return _String() && _EndValue();
        case 'n':
            return _Take("null") ? document_.Null() && _EndValue()
                                 : _Fail(rapidjson::kParseErrorValueInvalid);
        case 't':
            return _Take("true") ? document_.Bool(true) && _EndValue()
                                 : _Fail(rapidjson::kParseErrorValueInvalid);
        case 'f':
            return _Take("false") ? document_.Bool(false) && _EndValue()
                                  : _Fail(rapidjson::kParseErrorValueInvalid);
        default:
            return _Number() && _EndValue();
    }
}

// Closes what ends with this value, up to the comma or the end of the text.
bool Parser::_EndValue() {
    while (!levels_.empty()) {
        Level& level = levels_.back();
        ++level.count;
        _SkipBlanks();
        if (_Take(',')) {
            _SkipBlanks();
            return !level.isObject || _Name();
        }
        if (!_Take(level.isObject ? '}' : ']'))
            return _Fail(level.isObject ? rapidjson::kParseErrorObjectMissCommaOrCurlyBracket
                                        : rapidjson::kParseErrorArrayMissCommaOrSquareBracket);
        _Close();
    }
    return true;
}

void Parser::_Open(bool isObject) {
    ++at_;
    if (isObject)
        document_.StartObject();
    else
        document_.StartArray();
    levels_.push_back({isObject, 0});
    _SkipBlanks();
}

void Parser::_Close() {
    const Level level = levels_.back();
    levels_.pop_back();
    if (level.isObject)
        document_.EndObject(level.count);
    else
        document_.EndArray(level.count);
}

bool Parser::_Name() {
    if (*at_ != '"')
        return _Fail(rapidjson::kParseErrorObjectMissName);
    if (!_String())
        return false;
    _SkipBlanks();
    if (!_Take(':'))
        return _Fail(rapidjson::kParseErrorObjectMissColon);
    _SkipBlanks();
    return true;
}

bool Parser::_String() {
    char* const begin = ++at_;
    at_ += LengthWithoutEscapes(at_);
    char* end = at_;  // of what is unescaped, in place
    while (!_Take('"')) {
        if (*at_ != '\\')
            return _Fail(*at_ == 0 ? rapidjson::kParseErrorStringMissQuotationMark
                                   : rapidjson::kParseErrorStringEscapeInvalid);
        if (!_Unescape(end))
            return false;
        const std::size_t length = LengthWithoutEscapes(at_);
        std::memmove(end, at_, length);
        end += length;
        at_ += length;
    }
    const auto size = static_cast<SizeType>(end - begin);
    return document_.String(begin, size, size <= kShortText);
}

bool Parser::_Unescape(char*& end) {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char letter = at_[1];
    if (letter != 'u') {
        const std::size_t found = kLetters.find(letter);
        if (found == kLetters.npos)
            return _Fail(rapidjson::kParseErrorStringEscapeInvalid);
        *end++ = kMeanings[found];
        at_ += 2;
        return true;
    }
    unsigned code = 0;
    if (!ReadHex(at_ + 2, code))
        return _Fail(rapidjson::kParseErrorStringUnicodeEscapeInvalidHex);
    at_ += 6;
    // The first half of a pair; a second half alone passes.
    if (code >= 0xD800 && code < 0xDC00) {
        unsigned low = 0;
        if (!_Take("\\u"))
            return _Fail(rapidjson::kParseErrorStringUnicodeSurrogateInvalid);
        if (!ReadHex(at_, low))
            return _Fail(rapidjson::kParseErrorStringUnicodeEscapeInvalidHex);
        if (low < 0xDC00 || low > 0xDFFF)
            return _Fail(rapidjson::kParseErrorStringUnicodeSurrogateInvalid);
        at_ += 4;
        code = 0x10000 + (code - 0xD800) * 0x400 + (low - 0xDC00);
    }
    end = WriteUtf8(code, end);
    return true;
}

// A whole number is an integer if 64 bits hold it.
bool Parser::_Number() {
    constexpr std::ptrdiff_t kFewDigits = std::numeric_limits<int64>::digits10;
    const char* const begin = at_;
    const bool negative = _Take('-');
    const char* const digits = at_;
    if (!IsDigit(*at_))
        return _NanOrInfinity(negative);
    uint64 few = 0;  // the number, if it has no more digits than that
    if (!_Take('0'))
        for (; IsDigit(*at_); ++at_)
            few = few * 10 + static_cast<uint64>(*at_ - '0');
    bool whole = true;
    if (_Take('.')) {
        whole = false;
        if (!IsDigit(*at_))
            return _Fail(rapidjson::kParseErrorNumberMissFraction);
        _SkipDigits();
    }
    if (_Take('e') || _Take('E')) {
        whole = false;
        if (!_Take('+'))
            _Take('-');
        if (!IsDigit(*at_))
            return _Fail(rapidjson::kParseErrorNumberMissExponent);
        _SkipDigits();
    }
    if (whole && at_ - digits <= kFewDigits)
        return negative ? document_.Int64(-static_cast<int64>(few)) : document_.Uint64(few);
    const std::string_view number(begin, static_cast<std::size_t>(at_ - begin));
    int64 below = 0;
    uint64 above = 0;
    double real = 0;
    if (whole && negative && Convert(number, below))
        return document_.Int64(below);
    if (whole && !negative && Convert(number, above))
        return document_.Uint64(above);
    if (Convert(number, real))
        return document_.Double(real);
    if (IsLarge(number))
        return _Fail(rapidjson::kParseErrorNumberTooBig);
    return document_.Double(negative ? -0.0 : 0.0);
}

bool Parser::_NanOrInfinity(bool negative) {
    if (_Take("NaN"))
        return document_.Double(std::numeric_limits<double>::quiet_NaN());
    if (!_Take("Inf") || (*at_ == 'i' && !_Take("inity")))
        return _Fail(rapidjson::kParseErrorValueInvalid);
    const double infinity = std::numeric_limits<double>::infinity();
    return document_.Double(negative ? -infinity : infinity);
}

}  // namespace

ParseErrorCode ParseJson(char* text, std::size_t size, rapidjson::Document& document) {
    if (size > std::numeric_limits<SizeType>::max())
        return rapidjson::kParseErrorTermination;
    ParseErrorCode code = rapidjson::kParseErrorNone;
    auto parse = [&](rapidjson::Document& target) {
        code = Parser(text, target).Run();
        return code == rapidjson::kParseErrorNone;
    };
    document.Populate(parse);
    return code;
}

}  // namespace kiv::internal
