#include "kiv/base/annotatingArchive.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "archive/binaryCodec.h"
#include "kiv/base/binaryArchive.h"

namespace kiv {
namespace {

using internal::RecordTag;

// So much of a datum is shown.
constexpr std::size_t kLongestText = 60;
constexpr std::size_t kMostElements = 8;
constexpr std::size_t kDeepestShown = 60;

std::string TextOf(const StringView& name) {
    return std::string(name.begin(), std::find(name.begin(), name.end(), '\0'));
}

template <class T>
std::string Describe(const T& value) {
    if constexpr (sizeof(T) == 1 && !std::is_same_v<T, bool>)
        return fmt::to_string(static_cast<int>(value));
    else
        return fmt::to_string(value);
}

std::string Describe(const std::string& text) {
    std::size_t end = std::min(text.size(), kLongestText);
    // A character of several bytes is not taken apart.
    while (end > 0 && end < text.size() && (text[end] & 0xC0) == 0x80)
        --end;
    std::string described = "\"";
    for (const char c : std::string_view(text).substr(0, end)) {
        if (c == '"' || c == '\\')
            described += {'\\', c};
        else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            described += fmt::format("\\x{:02X}", c);
        else
            described += c;
    }
    return described + (end < text.size() ? "\"..." : "\"");
}

template <class List>
std::string DescribeList(const List& values) {
    std::string described = fmt::format("[{}]", values.size());
    std::size_t shown = 0;
    for (const auto& value : values) {
        if (shown++ == kMostElements)
            return described + " ...";
        described += ' ' + Describe(static_cast<typename List::value_type>(value));
    }
    return described;
}
template <class T>
std::string Describe(const Array<T>& values) {
    return DescribeList(values);
}
template <class T>
std::string Describe(const std::vector<T>& values) {
    return DescribeList(values);
}

}  // namespace

AnnotatingArchive::AnnotatingArchive(BinaryArchive& archive, Sink sink)
    : Archive(archive.GetOptions()), archive_(archive), sink_(std::move(sink)) {
    archive_.annotator_ = this;
}

AnnotatingArchive::~AnnotatingArchive() {
    archive_.annotator_ = nullptr;
}

bool AnnotatingArchive::IsRead() const {
    return archive_.IsRead();
}

void AnnotatingArchive::_NoteLostObjects() {
    static_cast<Archive&>(archive_)._NoteLostObjects();
}

// A line for what stands between the offset and the place that the archive has got to.
void AnnotatingArchive::_Print(uint64 offset, std::size_t depth, const std::string& datum) {
    sink_(fmt::format("{:8} {:7}  {:{}}{}", offset, archive_._Offset() - offset, "",
                      2 * std::min(depth, kDeepestShown), datum));
}

template <class T>
Archive& AnnotatingArchive::_Datum(const StringView& name, const char* type, T& value,
                                   Archive& (Archive::*serialize)(const StringView&, T&)) {
    const uint64 offset = archive_._Offset();
    (archive_.*serialize)(name, value);
    _Print(offset, depth_,
           fmt::format("{}: {} {}", TextOf(name), type, Describe(std::as_const(value))));
    return *this;
}

#define KIV_ANNOTATE(Type, Name)                                                       \
    Archive& AnnotatingArchive::Serialize##Name(const StringView& name, Type& value) { \
        return _Datum<Type>(name, #Name, value, &Archive::Serialize##Name);            \
    }
KIV_FOR_EACH_ARCHIVE_SCALAR(KIV_ANNOTATE)
KIV_ANNOTATE(std::vector<bool>, BoolArray)
#define KIV_ANNOTATE_LISTS(Type, Name)     \
    KIV_ANNOTATE(Array<Type>, Name##Array) \
    KIV_ANNOTATE(std::vector<Type>, Name##Array)
KIV_FOR_EACH_ARCHIVE_ELEMENT(KIV_ANNOTATE_LISTS)
#undef KIV_ANNOTATE_LISTS
#undef KIV_ANNOTATE

// The archive tells of a record as soon as its head is there, before the contents.
template <class T>
Archive& AnnotatingArchive::_Objects(const StringView& name, T& value,
                                     Archive& (Archive::*serialize)(const StringView&, T&)) {
    struct Restore {
        AnnotatingArchive& archive;
        const std::size_t depth = archive.depth_;
        ObjectCall call = std::move(archive.call_);
        ~Restore() {
            archive.depth_ = depth;
            archive.call_ = std::move(call);
        }
    };
    const Restore restore{*this};
    call_ = {TextOf(name), depth_};
    ++depth_;
    const uint64 offset = archive_._Offset();
    (archive_.*serialize)(name, value);
    if (!call_.is_list && call_.records == 0)
        _Print(offset, call_.depth, call_.name + ": object missing");
    return *this;
}

#define KIV_ANNOTATE(Type, Name)                                                       \
    Archive& AnnotatingArchive::Serialize##Name(const StringView& name, Type& value) { \
        return _Objects<Type>(name, value, &Archive::Serialize##Name);                 \
    }
KIV_ANNOTATE(WeakPtr<Object>, Object)
KIV_ANNOTATE(RefPtr<Object>, Object)
KIV_ANNOTATE(Array<WeakPtr<Object>>, ObjectArray)
KIV_ANNOTATE(Array<RefPtr<Object>>, ObjectArray)
#undef KIV_ANNOTATE

void AnnotatingArchive::_OnObjectCount(uint64 offset, unsigned int count) {
    call_.is_list = true;
    _Print(offset, call_.depth, fmt::format("{}: objects [{}]", call_.name, count));
    ++depth_;
}

void AnnotatingArchive::_OnRecord(uint64 offset, RecordTag tag, uint64 id,
                                  const StringView& typeName) {
    const unsigned int index = call_.records++;
    std::string datum = call_.is_list ? fmt::format("[{}]: ", index) : call_.name + ": ";
    switch (tag) {
        case RecordTag::kNull:
            datum += "null";
            break;
        case RecordTag::kFull:
            datum += fmt::format("object {:#x} of type {}", id, Describe(std::string(typeName)));
            break;
        case RecordTag::kReference:
            datum += fmt::format("reference to {:#x}", id);
            break;
        default:
            datum += fmt::format("unknown tag {} with id {:#x}", static_cast<int>(tag), id);
    }
    _Print(offset, call_.depth + (call_.is_list ? 1 : 0), datum);
}

void AnnotatingArchive::_OnSteppedOver(uint64 offset) {
    _Print(offset, depth_, "contents stepped over");
}

bool AnnotatingArchive::BeginObject(const StringView& name) {
    const bool begun = archive_.BeginObject(name);
    _Print(archive_._Offset(), depth_, TextOf(name) + ": scope");
    ++depth_;
    return begun;
}

void AnnotatingArchive::EndObject(const StringView& name) {
    archive_.EndObject(name);
    --depth_;
    _Print(archive_._Offset(), depth_, TextOf(name) + ": end");
}

bool AnnotatingArchive::BeginArray(const StringView& name, unsigned int& size) {
    const uint64 offset = archive_._Offset();
    const bool begun = archive_.BeginArray(name, size);
    _Print(offset, depth_, fmt::format("{}: elements [{}]", TextOf(name), size));
    ++depth_;
    return begun;
}

void AnnotatingArchive::EndArray(const StringView& name) {
    archive_.EndArray(name);
    --depth_;
    _Print(archive_._Offset(), depth_, TextOf(name) + ": end");
}

bool AnnotatingArchive::GetArrayElement(unsigned int index) {
    const bool entered = archive_.GetArrayElement(index);
    _Print(archive_._Offset(), depth_, "element");
    ++depth_;
    return entered;
}

void AnnotatingArchive::ReleaseArrayElement() {
    archive_.ReleaseArrayElement();
    --depth_;
    _Print(archive_._Offset(), depth_, "end");
}

}  // namespace kiv
