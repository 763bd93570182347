// cereal's JSON archive on the graph of jsonArchive_bench.cpp. It stands in a program of its own,
// because it changes the assertions of the JSON package that the other candidates use as it is.

#include <sstream>
#include <string>

#include <cereal/archives/json.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include "objectGraph.h"

namespace kiv::bench {

template <class Archive>
void serialize(Archive& archive, PlainNode& node) {
    archive(cereal::make_nvp("index", node.index), cereal::make_nvp("weight", node.weight),
            cereal::make_nvp("name", node.name), cereal::make_nvp("parent", node.parent),
            cereal::make_nvp("content", node.content), cereal::make_nvp("children", node.children));
}

}  // namespace kiv::bench

namespace {

class Cereal {
public:
    using Pointer = std::shared_ptr<kiv::bench::PlainNode>;

    static Pointer Make() { return std::make_shared<kiv::bench::PlainNode>(); }

    void Write(const Pointer& root) {
        std::ostringstream stream;
        {
            cereal::JSONOutputArchive archive(stream,
                                              cereal::JSONOutputArchive::Options::NoIndent());
            archive(cereal::make_nvp("Object", root));
        }
        text_ = std::move(stream).str();
    }

    const std::string& text() const { return text_; }

    Pointer Read(const std::string& text) {
        std::istringstream stream(text);
        cereal::JSONInputArchive archive(stream);
        Pointer root;
        archive(cereal::make_nvp("Object", root));
        return root;
    }

private:
    std::string text_;
};

BENCHMARK(kiv::bench::WriteGraph<Cereal>)->Name("JSON: 10,000 objects, written/cereal");
BENCHMARK(kiv::bench::ReadGraph<Cereal>)->Name("JSON: 10,000 objects, read/cereal");

}  // namespace
