// Writes a graph of objects as bytes and reads it back. cereal and Boost.Serialization follow
// pointers as we do. QDataStream and protobuf know none: their nodes name each other by number. The
// limit knows the one class of the graph, and writes and reads the very stream of ours.

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/shared_ptr.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <cereal/archives/binary.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "kiv/base/archiveTypes.h"
#include "kiv/base/binaryArchive.h"
#include "kiv/base/byteBuffer.h"
#include "memoryStream.h"
#include "messages.pb.h"
#include "objectGraph.h"
#include "reflectedNode.h"

namespace kiv::bench {

template <class Archive>
void serialize(Archive& archive, PlainNode& node) {
    archive(node.index, node.weight, node.name, node.parent, node.content, node.children);
}

}  // namespace kiv::bench

namespace boost::serialization {

template <class Archive>
void serialize(Archive& archive, kiv::bench::PlainNode& node, unsigned) {
    const auto members = [&archive](auto&... member) { (archive & ... & member); };
    members(node.index, node.weight, node.name, node.parent, node.content, node.children);
}

}  // namespace boost::serialization

// A class without a version, as all others write theirs.
BOOST_CLASS_IMPLEMENTATION(kiv::bench::PlainNode, boost::serialization::object_serializable)

namespace {

using kiv::bench::kHundredThousand;
using kiv::bench::MemoryReader;
using kiv::bench::MemoryWriter;
using kiv::bench::Node;
using kiv::bench::PlainNode;
using kiv::bench::ReadGraph;
using kiv::bench::WriteGraph;

// Through the archives, which write and read bytes where these are, as the peers do.
class Kiv {
public:
    using Pointer = kiv::RefPtr<Node>;
    using Bytes = std::vector<unsigned char>;

    static Pointer Make() { return kiv::MakeRefCounted<Node>(); }
    void Write(Pointer root) {
        archive_.emplace(Options());
        archive_->Serialize<Node>("Object", root);
    }
    Bytes text() const { return {archive_->GetBytes().begin(), archive_->GetBytes().end()}; }
    Pointer Read(const Bytes& bytes) {
        kiv::BinaryInputArchive archive(bytes, {});
        Pointer root;
        archive.Serialize<Node>("Object", root);
        return root;
    }

private:
    using Options = std::unordered_map<std::string, kiv::Value>;
    std::optional<kiv::BinaryOutputArchive> archive_;
};

// The very stream of the archive, which reads it back.
class WrittenByHand : public Kiv {
public:
    void Write(const Pointer& root) {
        writer_.emplace();
        written_.clear();
        Add(root.get());
    }

    Bytes text() const { return {writer_->data(), writer_->data() + writer_->size()}; }

private:
    void AddText(const kiv::StringView& text) {
        writer_->AppendUInt32(static_cast<std::uint32_t>(text.size()));
        writer_->AppendString(text);
    }

    void Add(const Node* node) {
        const bool is_new = node && written_.insert(node).second;
        writer_->AppendUInt8(!node ? 0 : is_new ? 1 : 2);
        writer_->AppendUInt64(reinterpret_cast<std::uintptr_t>(node));
        if (!is_new)
            return;
        AddText("Node");
        const std::uint64_t place_of_size = writer_->size();
        writer_->AppendUInt32(0);

        AddText("int");
        writer_->AppendUInt32(static_cast<std::uint32_t>(node->index));
        AddText("double");
        std::memcpy(writer_->AppendUnfilled(sizeof(double)), &node->weight, sizeof(double));
        AddText(
            "class std::basic_string<char,struct std::char_traits<char>,"
            "class std::allocator<char> >");
        AddText(node->name);
        AddText("class kiv::RefPtr<class kiv::bench::Node>");
        Add(node->parent.get());
        AddText("class kiv::RefPtr<class kiv::bench::Node>");
        Add(node->content.get());
        AddText("class kiv::Array<class kiv::RefPtr<class kiv::bench::Node> >");
        writer_->AppendUInt32(static_cast<std::uint32_t>(node->children.size()));
        for (const Pointer& child : node->children)
            Add(child.get());

        const std::uint64_t size = writer_->size() - place_of_size - sizeof(std::uint32_t);
        writer_->OverwriteUInt32(place_of_size, static_cast<std::uint32_t>(size));
    }

    std::optional<kiv::ByteBufferWriter> writer_;
    std::unordered_set<const Node*> written_;
};

// What the library wrote. The names of types are stepped over.
class ReadByHand : public Kiv {
public:
    Pointer Read(const std::vector<unsigned char>& bytes) {
        kiv::ByteBufferReader reader(bytes);
        reader_ = &reader;
        read_.clear();
        return Next();
    }

private:
    std::uint32_t NextNumber() {
        std::uint32_t number = 0;
        reader_->ReadUInt32(&number);
        return number;
    }
    kiv::StringView NextText() {
        kiv::StringView text;
        reader_->ReadStringView(&text, NextNumber());
        return text;
    }

    Pointer Next() {
        std::uint8_t tag = 0;
        std::uint64_t id = 0;
        reader_->ReadUInt8(&tag);
        reader_->ReadUInt64(&id);
        if (tag != 1)
            return Pointer(tag == 0 ? nullptr : read_.at(id));
        NextText();
        NextNumber();
        const Pointer node = Make();
        read_.emplace(id, node.get());

        NextText();
        node->index = static_cast<int>(NextNumber());
        NextText();
        reader_->ReadBytes(reinterpret_cast<unsigned char*>(&node->weight), sizeof(double));
        NextText();
        node->name = NextText();
        NextText();
        node->parent = Next();
        NextText();
        node->content = Next();
        NextText();
        const std::uint32_t count = NextNumber();
        node->children.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i)
            node->children.emplace_back(Next());
        return node;
    }

    kiv::ByteBufferReader* reader_ = nullptr;
    std::unordered_map<std::uint64_t, Node*> read_;
};

struct PlainGraph {
    using Pointer = std::shared_ptr<PlainNode>;
    static Pointer Make() { return std::make_shared<PlainNode>(); }
};

class Cereal : public PlainGraph {
public:
    void Write(const Pointer& root) {
        MemoryWriter buffer(bytes_);
        std::ostream stream(&buffer);
        cereal::BinaryOutputArchive archive(stream);
        archive(root);
    }

    const std::string& text() const { return bytes_; }

    Pointer Read(const std::string& bytes) {
        MemoryReader buffer(bytes);
        std::istream stream(&buffer);
        cereal::BinaryInputArchive archive(stream);
        Pointer root;
        archive(root);
        return root;
    }

private:
    std::string bytes_;
};

class Boost : public PlainGraph {
public:
    void Write(const Pointer& root) {
        MemoryWriter buffer(bytes_);
        boost::archive::binary_oarchive archive(buffer, kFlags);
        archive << root;
    }

    const std::string& text() const { return bytes_; }

    Pointer Read(const std::string& bytes) {
        MemoryReader buffer(bytes);
        boost::archive::binary_iarchive archive(buffer, kFlags);
        Pointer root;
        archive >> root;
        return root;
    }

private:
    static constexpr unsigned kFlags = boost::archive::no_header | boost::archive::no_codecvt;
    std::string bytes_;
};

// Numbers nodes from 1 as they are met. A loop over the list that numbers what each node refers to
// meets them all, and a reader that goes the same way learns of each number in turn.
class NumberedNodes {
public:
    explicit NumberedNodes(const PlainNode* root) { NumberOf(root); }

    std::uint32_t NumberOf(const PlainNode* node) {
        if (!node)
            return 0;
        const auto [place, is_new] = numbers_.try_emplace(node, numbers_.size() + 1);
        if (is_new)
            nodes_.push_back(node);
        return place->second;
    }
    std::uint32_t NumberOf(const PlainGraph::Pointer& node) { return NumberOf(node.get()); }

    std::size_t size() const { return nodes_.size(); }
    const PlainNode& operator[](std::size_t place) const { return *nodes_[place]; }

private:
    std::vector<const PlainNode*> nodes_;
    std::unordered_map<const PlainNode*, std::uint32_t> numbers_;
};

class Qt : public PlainGraph {
public:
    void Write(const Pointer& root) {
        QDataStream stream(&bytes_, QIODevice::WriteOnly);
        NumberedNodes nodes(root.get());
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const PlainNode& node = nodes[i];
            stream << node.index << node.weight;
            stream.writeBytes(node.name.data(), static_cast<uint>(node.name.size()));
            stream << nodes.NumberOf(node.parent) << nodes.NumberOf(node.content);
            stream << static_cast<quint32>(node.children.size());
            for (const Pointer& child : node.children)
                stream << nodes.NumberOf(child);
        }
    }

    const QByteArray& text() const { return bytes_; }

    Pointer Read(const QByteArray& bytes) {
        QDataStream stream(bytes);
        const auto read_number = [&stream] {
            quint32 number = 0;
            stream >> number;
            return number;
        };
        std::vector<Pointer> nodes{Make()};
        const auto read_node = [&] {
            const quint32 number = read_number();
            if (number == 0)
                return Pointer();
            if (number > nodes.size())
                nodes.push_back(Make());
            return nodes[number - 1];
        };
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            PlainNode& node = *nodes[i];
            stream >> node.index >> node.weight;
            node.name.resize(read_number());
            stream.readRawData(node.name.data(), static_cast<int>(node.name.size()));
            node.parent = read_node();
            node.content = read_node();
            node.children.resize(read_number());
            for (Pointer& child : node.children)
                child = read_node();
        }
        return nodes.front();
    }

private:
    QByteArray bytes_;
};

class Protobuf : public PlainGraph {
public:
    void Write(const Pointer& root) {
        google::protobuf::Arena arena;
        auto& graph = *google::protobuf::Arena::CreateMessage<Graph>(&arena);
        NumberedNodes nodes(root.get());
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const PlainNode& node = nodes[i];
            auto& message = *graph.add_nodes();
            message.set_index(node.index);
            message.set_weight(node.weight);
            message.set_name(node.name);
            message.set_parent(nodes.NumberOf(node.parent));
            message.set_content(nodes.NumberOf(node.content));
            message.mutable_children()->Reserve(static_cast<int>(node.children.size()));
            for (const Pointer& child : node.children)
                message.add_children(nodes.NumberOf(child));
        }
        graph.SerializeToString(&bytes_);
    }

    const std::string& text() const { return bytes_; }

    Pointer Read(const std::string& bytes) {
        google::protobuf::Arena arena;
        auto& graph = *google::protobuf::Arena::CreateMessage<Graph>(&arena);
        if (!graph.ParseFromString(bytes))
            return Pointer();
        std::vector<Pointer> nodes(static_cast<std::size_t>(graph.nodes_size()));
        for (Pointer& node : nodes)
            node = Make();
        const auto find = [&nodes](std::uint32_t number) {
            return number == 0 ? Pointer() : nodes[number - 1];
        };
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const auto& message = graph.nodes(static_cast<int>(i));
            PlainNode& node = *nodes[i];
            node.index = message.index();
            node.weight = message.weight();
            node.name = message.name();
            node.parent = find(message.parent());
            node.content = find(message.content());
            node.children.reserve(static_cast<std::size_t>(message.children_size()));
            for (const std::uint32_t child : message.children())
                node.children.push_back(find(child));
        }
        return nodes.front();
    }

private:
    using Graph = kiv::bench::messages::Graph;
    std::string bytes_;
};

#define KIV_BENCH_GRAPH(Writer, Reader, name)                   \
    BENCHMARK(WriteGraph<Writer, kHundredThousand>)             \
        ->Name("binary archive: 100,000 objects, saved/" name); \
    BENCHMARK(ReadGraph<Reader, kHundredThousand>)              \
        ->Name("binary archive: 100,000 objects, loaded/" name)

KIV_BENCH_GRAPH(Kiv, Kiv, "kiv");
KIV_BENCH_GRAPH(WrittenByHand, ReadByHand, "limit by hand");
KIV_BENCH_GRAPH(Boost, Boost, "Boost");
KIV_BENCH_GRAPH(Cereal, Cereal, "cereal");
KIV_BENCH_GRAPH(Protobuf, Protobuf, "protobuf");
KIV_BENCH_GRAPH(Qt, Qt, "QDataStream");

}  // namespace
