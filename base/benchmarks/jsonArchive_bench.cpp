// Writes a graph of objects as JSON and reads it back. The limit does the same by hand: it knows
// the one class of the graph, and builds and takes apart the very document of `JsonSerializer` with
// the JSON package beneath it.

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "kiv/base/jsonSerializer.h"
#include "objectGraph.h"
#include "reflectedNode.h"

namespace {

using kiv::bench::Node;
using kiv::bench::PlainNode;
using kiv::bench::ReadGraph;
using kiv::bench::WriteGraph;

class Kiv {
public:
    using Pointer = kiv::RefPtr<Node>;

    static Pointer Make() { return kiv::MakeRefCounted<Node>(); }
    void Write(const Pointer& root) { serializer_.Serialize(root); }
    std::string text() { return serializer_.GetSerializeString(nullptr); }
    Pointer Read(const std::string& text) {
        serializer_.SetSerializeString(text);
        const kiv::RefPtr<kiv::Object> root = serializer_.Deserialize("Node", nullptr);
        return Pointer(static_cast<Node*>(root.get()));
    }

private:
    kiv::JsonSerializer serializer_{{}};
};

class ByHand {
public:
    using Pointer = kiv::RefPtr<Node>;

    static Pointer Make() { return kiv::MakeRefCounted<Node>(); }

    void Write(const Pointer& root) {
        rapidjson::Document document(rapidjson::kObjectType);
        allocator_ = &document.GetAllocator();
        written_.clear();
        Json objects(rapidjson::kObjectType);
        Add(*root, objects);
        Json scope(rapidjson::kObjectType);
        scope.AddMember("Object", Reference(root.get()), *allocator_);
        Json archive(rapidjson::kObjectType);
        archive.AddMember("KIV_ARCHIVE_OBJECT", scope, *allocator_);
        archive.AddMember("KIV_ARCHIVE_OBJECT_MAP", objects, *allocator_);
        document.AddMember("JSON_ARCHIVE", archive, *allocator_);

        text_.Clear();
        rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                          rapidjson::CrtAllocator, rapidjson::kWriteNanAndInfFlag>
            writer(text_);
        document.Accept(writer);
    }

    std::string text() const { return {text_.GetString(), text_.GetSize()}; }

    Pointer Read(const std::string& text) {
        rapidjson::Document document;
        document.Parse<rapidjson::kParseFullPrecisionFlag | rapidjson::kParseNanAndInfFlag>(
            text.data(), text.size());
        if (document.HasParseError())
            return Pointer();
        const Json& archive = document["JSON_ARCHIVE"];
        const Json& entries = archive["KIV_ARCHIVE_OBJECT_MAP"];
        read_.clear();
        read_.reserve(entries.MemberCount());
        for (const auto& [id, entry] : entries.GetObject())
            read_.emplace(entry["INSTANCE_ID"].GetUint64(), Make());
        for (const auto& [id, entry] : entries.GetObject())
            Fill(*read_[entry["INSTANCE_ID"].GetUint64()], entry);
        return Find(archive["KIV_ARCHIVE_OBJECT"]["Object"]);
    }

private:
    using Json = rapidjson::Value;

    static std::uint64_t IdOf(const Node& node) { return reinterpret_cast<std::uintptr_t>(&node); }

    Json Reference(const Node* node) {
        if (!node)
            return Json();
        Json reference(rapidjson::kObjectType);
        reference.AddMember("INSTANCE_ID", IdOf(*node), *allocator_);
        reference.AddMember("KIV_TYPE_NAME", "Node", *allocator_);
        reference.AddMember("IS_REFERENCE", true, *allocator_);
        return reference;
    }

    void AddProperty(Json& entry, rapidjson::Value::StringRefType name,
                     rapidjson::Value::StringRefType type, Json value) {
        Json property(rapidjson::kObjectType);
        property.AddMember("type", type, *allocator_);
        property.AddMember("value", value, *allocator_);
        entry.AddMember(name, property, *allocator_);
    }

    void Add(const Node& node, Json& objects) {
        if (!written_.insert(&node).second)
            return;
        Json children(rapidjson::kArrayType);
        children.Reserve(static_cast<rapidjson::SizeType>(node.children.size()), *allocator_);
        for (const Pointer& child : node.children)
            children.PushBack(Reference(child.get()), *allocator_);
        Json entry(rapidjson::kObjectType);
        AddProperty(entry, "index", "int", Json(node.index));
        AddProperty(entry, "weight", "double", Json(node.weight));
        AddProperty(entry, "name",
                    "class std::basic_string<char,struct std::char_traits<char>,"
                    "class std::allocator<char> >",
                    Json(rapidjson::StringRef(node.name.data(), node.name.size())));
        AddProperty(entry, "parent", "class kiv::RefPtr<class kiv::bench::Node>",
                    Reference(node.parent.get()));
        AddProperty(entry, "content", "class kiv::RefPtr<class kiv::bench::Node>",
                    Reference(node.content.get()));
        AddProperty(entry, "children",
                    "class kiv::Array<class kiv::RefPtr<class kiv::bench::Node> >",
                    std::move(children));
        entry.AddMember("INSTANCE_ID", IdOf(node), *allocator_);
        entry.AddMember("KIV_TYPE_NAME", "Node", *allocator_);
        const std::string id = std::to_string(IdOf(node));
        objects.AddMember(Json(id.c_str(), *allocator_), entry, *allocator_);

        for (const Node* next : {node.parent.get(), node.content.get()}) {
            if (next)
                Add(*next, objects);
        }
        for (const Pointer& child : node.children)
            Add(*child, objects);
    }

    Pointer Find(const Json& reference) const {
        return reference.IsObject() ? read_.at(reference["INSTANCE_ID"].GetUint64()) : Pointer();
    }

    void Fill(Node& node, const Json& entry) const {
        node.index = entry["index"]["value"].GetInt();
        node.weight = entry["weight"]["value"].GetDouble();
        const Json& name = entry["name"]["value"];
        node.name.assign(name.GetString(), name.GetStringLength());
        node.parent = Find(entry["parent"]["value"]);
        node.content = Find(entry["content"]["value"]);
        for (const Json& child : entry["children"]["value"].GetArray())
            node.children.emplace_back(Find(child));
    }

    rapidjson::StringBuffer text_;
    rapidjson::Document::AllocatorType* allocator_ = nullptr;
    std::unordered_set<const Node*> written_;
    std::unordered_map<std::uint64_t, Pointer> read_;
};

// Reads what the library wrote, so that both read the same text.
class ByHandFromOurs : public ByHand {
public:
    void Write(const Pointer& root) { writer_.Write(root); }
    std::string text() { return writer_.text(); }

private:
    Kiv writer_;
};

// The package knows no pointers, so the nodes lie in one list and name each other by number.
class Nlohmann {
public:
    using Pointer = std::shared_ptr<PlainNode>;

    static Pointer Make() { return std::make_shared<PlainNode>(); }

    void Write(const Pointer& root) {
        numbers_.clear();
        Json objects = Json::array();
        Add(root, objects);
        text_ = objects.dump();
    }

    const std::string& text() const { return text_; }

    Pointer Read(const std::string& text) {
        const Json objects = Json::parse(text);
        std::vector<Pointer> nodes(objects.size());
        for (Pointer& node : nodes)
            node = Make();
        const auto find = [&nodes](const Json& number) {
            return number.is_null() ? Pointer() : nodes[number.get<std::size_t>()];
        };
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const Json& object = objects[i];
            PlainNode& node = *nodes[i];
            object.at("index").get_to(node.index);
            object.at("weight").get_to(node.weight);
            object.at("name").get_to(node.name);
            node.parent = find(object.at("parent"));
            node.content = find(object.at("content"));
            for (const Json& child : object.at("children"))
                node.children.emplace_back(find(child));
        }
        return nodes.front();
    }

private:
    using Json = nlohmann::json;

    Json Add(const Pointer& node, Json& objects) {
        if (!node)
            return nullptr;
        const auto [place, is_new] = numbers_.emplace(node.get(), objects.size());
        const std::size_t number = place->second;
        if (is_new) {
            objects.push_back(nullptr);
            Json children = Json::array();
            for (const Pointer& child : node->children)
                children.emplace_back(Add(child, objects));
            Json object = {{"index", node->index},
                           {"weight", node->weight},
                           {"name", node->name},
                           {"parent", Add(node->parent, objects)},
                           {"content", Add(node->content, objects)},
                           {"children", std::move(children)}};
            objects[number] = std::move(object);
        }
        return number;
    }

    std::string text_;
    std::unordered_map<const PlainNode*, std::size_t> numbers_;
};

BENCHMARK(WriteGraph<Kiv>)->Name("JSON: 10,000 objects, written/kiv");
BENCHMARK(WriteGraph<ByHand>)->Name("JSON: 10,000 objects, written/limit rapidjson");
BENCHMARK(WriteGraph<Nlohmann>)->Name("JSON: 10,000 objects, written/nlohmann");
BENCHMARK(ReadGraph<Kiv>)->Name("JSON: 10,000 objects, read/kiv");
BENCHMARK(ReadGraph<ByHandFromOurs>)->Name("JSON: 10,000 objects, read/limit rapidjson");
BENCHMARK(ReadGraph<Nlohmann>)->Name("JSON: 10,000 objects, read/nlohmann");

}  // namespace
