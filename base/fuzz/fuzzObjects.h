// The objects that the fuzz targets of the archives read, and what they demand.
#ifndef KIV_BASE_FUZZ_FUZZ_OBJECTS_H_
#define KIV_BASE_FUZZ_FUZZ_OBJECTS_H_

#include <set>
#include <string>

#include "kiv/base/archiveTypes.h"
#include "kiv/base/array.h"
#include "kiv/base/geometry.h"
#include "kiv/base/object.h"

namespace kiv::fuzz {

/// Ends the process if the condition is false.
void Require(bool condition);

// Each is registered under its first letter.

// Those that live are known, to take the rings apart that were read.
class Linked : public Object {
    KIV_OBJECT(Linked, Object)

public:
    Linked() { living.insert(this); }

    static std::set<Linked*> living;
    static void CutAll();

    RefPtr<Linked> next;
    Array<RefPtr<Object>> others;

protected:
    ~Linked() override { living.erase(this); }
};

enum class Mode { Off, On };

class Reflected : public Linked {
    KIV_OBJECT(Reflected, Linked)

public:
    bool flag = false;
    signed char small = 0;
    uint64 large = 0;
    float real = 0;
    std::string text;
    Mode mode = Mode::Off;
    Array<unsigned char> bytes;
    Array<std::string> texts;
    Array<Posed> poses;
    Color color;
};

// Says itself how it is stored.
class Scripted : public Linked {
    KIV_OBJECT(Scripted, Linked)

public:
    Archive& operator<<(Archive& archive) override;
};

}  // namespace kiv::fuzz

#endif  // KIV_BASE_FUZZ_FUZZ_OBJECTS_H_
