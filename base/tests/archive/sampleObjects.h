// Objects for the tests of the archives.
#ifndef KIV_BASE_TESTS_ARCHIVE_SAMPLE_OBJECTS_H_
#define KIV_BASE_TESTS_ARCHIVE_SAMPLE_OBJECTS_H_

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kiv/base/array.h"
#include "kiv/base/object.h"
#include "kiv/base/refPtr.h"
#include "support/logCatcher.h"

namespace kiv::testing {

/// A node of graphs with sharing and cycles, registered as "SampleNode". The nodes that live are
/// known, so that a test can tell whether any leaked, and can take graphs apart.
class SampleNode : public Object {
    KIV_OBJECT(SampleNode, Object)

public:
    SampleNode() { living.insert(this); }

    static std::set<SampleNode*> living;
    /// Takes all references out of all nodes. What nobody else holds is gone afterwards.
    static void CutAll();

    int count = 0;
    std::string title;
    RefPtr<SampleNode> next;
    Array<RefPtr<SampleNode>> others;

protected:
    ~SampleNode() override { living.erase(this); }
};

/// An object that writes and reads itself as the test at hand wants it, registered as
/// "Sample\"Script".
class SampleScript : public Object {
    KIV_OBJECT(SampleScript, Object)

public:
    SampleScript() { ++alive; }

    static int alive;
    static std::function<void(SampleScript&, Archive&)> body;

    Archive& operator<<(Archive& archive) override {
        body(*this, archive);
        return archive;
    }

    RefPtr<Object> reference;

protected:
    ~SampleScript() override { --alive; }
};

/// A test that has objects, of which none may be left at its end.
class ObjectTest : public ::testing::Test {
protected:
    ObjectTest() { spdlog::default_logger()->set_level(spdlog::level::info); }
    ~ObjectTest() override;

    /// What was logged since the last call, all of it at that level, behind the domain.
    std::vector<std::string> TakeLog(LogLevel level = LogLevel::Error);

    LogCatcher log;
};

using Body = std::function<void(Archive&)>;

/// What the body writes into an archive of that form, and the other way.
struct JsonForm {
    using Stored = std::string;
    static Stored Written(const Body& body);
    static void Read(const Stored& stored, const Body& body);
};
struct BinaryForm {
    using Stored = std::vector<unsigned char>;
    static Stored Written(const Body& body);
    static void Read(const Stored& stored, const Body& body);
};

/// The JSON document of that root and those entries of the map of objects.
std::string Document(const std::string& root, const std::string& map = "");

/// A chain of so many nodes.
RefPtr<SampleNode> MakeChain(int length);

/// Three nodes in a ring, of which each knows all.
RefPtr<SampleNode> MakeTangle();

std::string Replaced(std::string text, const std::string& from, const std::string& to);

/// The text with every object's id replaced by #1, #2 ... in the order in which they come up.
std::string WithoutIds(std::string json);

}  // namespace kiv::testing

#endif  // KIV_BASE_TESTS_ARCHIVE_SAMPLE_OBJECTS_H_
