#include "archive/sampleObjects.h"

#include <algorithm>
#include <utility>

#include "kiv/base/binaryArchive.h"
#include "kiv/base/jsonArchive.h"
#include "kiv/base/registration.h"

namespace kiv::testing {
namespace {

[[maybe_unused]] const bool registered[] = {
    Registration::Class<SampleNode>("SampleNode")
        .Property("count", &SampleNode::count)
        .Property("title", &SampleNode::title)
        .Property("next", &SampleNode::next)
        .Property("others", &SampleNode::others)
        .Creatable(),
    Registration::Class<SampleScript>("Sample\"Script").Creatable(),
};

}  // namespace

std::set<SampleNode*> SampleNode::living;

int SampleScript::alive = 0;
std::function<void(SampleScript&, Archive&)> SampleScript::body;

ObjectTest::~ObjectTest() {
    SampleScript::body = nullptr;
    SampleNode::CutAll();
    EXPECT_TRUE(SampleNode::living.empty());
    EXPECT_EQ(SampleScript::alive, 0);
}

std::vector<std::string> ObjectTest::TakeLog(LogLevel level) {
    const std::string domain = "[domain:kiv.base]";
    std::vector<std::string> texts;
    for (const LogLine& line : log.Take()) {
        EXPECT_EQ(line.level, level);
        EXPECT_EQ(line.payload.substr(0, domain.size()), domain);
        texts.push_back(line.payload.substr(std::min(domain.size(), line.payload.size())));
    }
    return texts;
}

void SampleNode::CutAll() {
    // Held for the while, so that none goes before its own references are out.
    std::vector<RefPtr<SampleNode>> held(living.begin(), living.end());
    for (const RefPtr<SampleNode>& node : held) {
        node->next = nullptr;
        node->others.clear();
    }
}

JsonForm::Stored JsonForm::Written(const Body& body) {
    JsonOutputArchive archive({});
    body(archive);
    std::string text = "replaced";
    archive.ToString(text);
    return text;
}

void JsonForm::Read(const Stored& stored, const Body& body) {
    JsonInputArchive archive({});
    archive.FromString(stored);
    body(archive);
}

BinaryForm::Stored BinaryForm::Written(const Body& body) {
    BinaryOutputArchive archive({});
    body(archive);
    Stored bytes = {9};
    archive.ToBuffer(bytes);
    return bytes;
}

void BinaryForm::Read(const Stored& stored, const Body& body) {
    BinaryInputArchive archive(stored, {});
    body(archive);
}

std::string Document(const std::string& root, const std::string& map) {
    return R"({"JSON_ARCHIVE":{"KIV_ARCHIVE_OBJECT":)" + root + R"(,"KIV_ARCHIVE_OBJECT_MAP":{)" +
           map + "}}}";
}

RefPtr<SampleNode> MakeChain(int length) {
    RefPtr<SampleNode> first;
    for (int i = 0; i < length; ++i) {
        auto node = MakeRefCounted<SampleNode>();
        node->count = i;
        node->next = std::move(first);
        first = std::move(node);
    }
    return first;
}

RefPtr<SampleNode> MakeTangle() {
    RefPtr<SampleNode> ring = MakeChain(3);
    ring->title = "first";
    ring->next->next->next = ring;
    for (SampleNode* node = ring.get(); node->others.empty(); node = node->next.get())
        node->others = {ring, ring->next, ring->next->next};
    return ring;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

std::string WithoutIds(std::string json) {
    constexpr char kDigits[] = "0123456789";
    constexpr std::size_t kFewestOfAnId = 12;
    int ids = 0;
    for (std::size_t at = 0; (at = json.find_first_of(kDigits, at)) != std::string::npos;) {
        const std::string number = json.substr(at, json.find_first_not_of(kDigits, at) - at);
        if (number.size() >= kFewestOfAnId)
            json = Replaced(json, number, "#" + std::to_string(++ids));
        at = json.find_first_not_of(kDigits, at + 1);
    }
    return json;
}

}  // namespace kiv::testing
