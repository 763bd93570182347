// Finds a type by its name, and reads and writes the first and the last of twenty int properties.

#include <QMetaType>
#include <QObject>
#include <QVariant>
#include <memory>

#include <glib-object.h>

#include "bench.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"

// clang-format off
#define KIV_FOR_EACH_PROPERTY(X)                                                    \
    X(property00) X(property01) X(property02) X(property03) X(property04)           \
    X(property05) X(property06) X(property07) X(property08) X(property09)           \
    X(property10) X(property11) X(property12) X(property13) X(property14)           \
    X(property15) X(property16) X(property17) X(property18) X(property19)
// clang-format on

namespace kiv::bench {

#define KIV_MEMBER(name) int name = 0;

class Sample : public Object {
    KIV_OBJECT(Sample, Object)

public:
    KIV_FOR_EACH_PROPERTY(KIV_MEMBER)
};

class QtSample : public QObject {
    Q_OBJECT
    Q_PROPERTY(int property00 MEMBER property00)
    Q_PROPERTY(int property01 MEMBER property01)
    Q_PROPERTY(int property02 MEMBER property02)
    Q_PROPERTY(int property03 MEMBER property03)
    Q_PROPERTY(int property04 MEMBER property04)
    Q_PROPERTY(int property05 MEMBER property05)
    Q_PROPERTY(int property06 MEMBER property06)
    Q_PROPERTY(int property07 MEMBER property07)
    Q_PROPERTY(int property08 MEMBER property08)
    Q_PROPERTY(int property09 MEMBER property09)
    Q_PROPERTY(int property10 MEMBER property10)
    Q_PROPERTY(int property11 MEMBER property11)
    Q_PROPERTY(int property12 MEMBER property12)
    Q_PROPERTY(int property13 MEMBER property13)
    Q_PROPERTY(int property14 MEMBER property14)
    Q_PROPERTY(int property15 MEMBER property15)
    Q_PROPERTY(int property16 MEMBER property16)
    Q_PROPERTY(int property17 MEMBER property17)
    Q_PROPERTY(int property18 MEMBER property18)
    Q_PROPERTY(int property19 MEMBER property19)

public:
    KIV_FOR_EACH_PROPERTY(KIV_MEMBER)
};

#undef KIV_MEMBER

}  // namespace kiv::bench

namespace {

using kiv::bench::Keep;
using kiv::bench::QtSample;
using kiv::bench::Renew;
using kiv::bench::Sample;

const bool registered = [] {
    kiv::Registration::Class<Sample> sample("Sample");
#define KIV_PROPERTY(name) sample.Property(#name, &Sample::name);
    KIV_FOR_EACH_PROPERTY(KIV_PROPERTY)
#undef KIV_PROPERTY
    return sample.Creatable();
}();

const int qt_type = qRegisterMetaType<QtSample*>("Sample");

// GObject's road: a property is a number, and the class has one function for all reads and one for
// all writes.
struct GSample {
    GObject base;
    int values[20];
};
struct GSampleClass {
    GObjectClass base;
};

G_DEFINE_TYPE(GSample, g_sample, G_TYPE_OBJECT)

void g_sample_init(GSample*) {}

void g_sample_get(GObject* object, guint id, GValue* value, GParamSpec*) {
    g_value_set_int(value, reinterpret_cast<GSample*>(object)->values[id - 1]);
}

void g_sample_set(GObject* object, guint id, const GValue* value, GParamSpec*) {
    reinterpret_cast<GSample*>(object)->values[id - 1] = g_value_get_int(value);
}

void g_sample_class_init(GSampleClass* sampleClass) {
    GObjectClass* base = G_OBJECT_CLASS(sampleClass);
    base->get_property = g_sample_get;
    base->set_property = g_sample_set;
    guint id = 0;
    const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
#define KIV_PROPERTY(name)           \
    g_object_class_install_property( \
        base, ++id, g_param_spec_int(#name, #name, #name, G_MININT, G_MAXINT, 0, flags));
    KIV_FOR_EACH_PROPERTY(KIV_PROPERTY)
#undef KIV_PROPERTY
}

// One shape for the three: how a type is found, and how an int goes in and out under a name.

struct Kiv {
    static constexpr char kTypeName[] = "Sample";

    static void Find(const char* name) { Keep(kiv::Type::Find(name)); }
    int Get(const char* name) const { return object->GetProperty(name, nullptr).Get<int>(); }
    void Set(const char* name, int value) { object->SetProperty(name, value); }

    kiv::RefPtr<Sample> object = kiv::MakeRefCounted<Sample>();
};

struct Qt {
    static constexpr char kTypeName[] = "Sample";

    static void Find(const char* name) { Keep(QMetaType::fromName(name)); }
    int Get(const char* name) const { return object->property(name).value<int>(); }
    void Set(const char* name, int value) { object->setProperty(name, value); }

    std::unique_ptr<QtSample> object = std::make_unique<QtSample>();
};

struct GLib {
    static constexpr char kTypeName[] = "GSample";

    static void Find(const char* name) { Keep(g_type_from_name(name)); }
    int Get(const char* name) const {
        int value = 0;
        g_object_get(object.get(), name, &value, nullptr);
        return value;
    }
    void Set(const char* name, int value) { g_object_set(object.get(), name, value, nullptr); }

    std::unique_ptr<GObject, void (*)(void*)> object{
        static_cast<GObject*>(g_object_new(g_sample_get_type(), nullptr)), g_object_unref};
};

template <class Library>
void FindType(benchmark::State& state) {
    const char* name = Library::kTypeName;
    const Library library;
    for (auto _ : state) {
        Renew(name);
        Library::Find(name);
    }
}

BENCHMARK(FindType<Kiv>)->Name("type: found by name/kiv");
BENCHMARK(FindType<Qt>)->Name("type: found by name/QMetaType");
BENCHMARK(FindType<GLib>)->Name("type: found by name/GType");

constexpr char kFirst[] = "property00";
constexpr char kLast[] = "property19";

template <class Library, const char* property>
void GetProperty(benchmark::State& state) {
    const char* name = property;
    Library library;
    library.Set(name, 5);
    if (library.Get(name) != 5)
        return state.SkipWithError("the property does not hold what was set");
    for (auto _ : state) {
        Renew(name);
        Keep(library.Get(name));
    }
}

template <class Library, const char* property>
void SetProperty(benchmark::State& state) {
    const char* name = property;
    Library library;
    int value = 0;
    for (auto _ : state) {
        Renew(name);
        library.Set(name, ++value);
    }
    if (library.Get(name) != value)
        state.SkipWithError("the property does not hold what was set");
}

BENCHMARK(GetProperty<Kiv, kFirst>)->Name("property: get by name, first of 20/kiv");
BENCHMARK(GetProperty<Qt, kFirst>)->Name("property: get by name, first of 20/QObject");
BENCHMARK(GetProperty<GLib, kFirst>)->Name("property: get by name, first of 20/GObject");
BENCHMARK(GetProperty<Kiv, kLast>)->Name("property: get by name, last of 20/kiv");
BENCHMARK(GetProperty<Qt, kLast>)->Name("property: get by name, last of 20/QObject");
BENCHMARK(GetProperty<GLib, kLast>)->Name("property: get by name, last of 20/GObject");

BENCHMARK(SetProperty<Kiv, kFirst>)->Name("property: set by name, first of 20/kiv");
BENCHMARK(SetProperty<Qt, kFirst>)->Name("property: set by name, first of 20/QObject");
BENCHMARK(SetProperty<GLib, kFirst>)->Name("property: set by name, first of 20/GObject");
BENCHMARK(SetProperty<Kiv, kLast>)->Name("property: set by name, last of 20/kiv");
BENCHMARK(SetProperty<Qt, kLast>)->Name("property: set by name, last of 20/QObject");
BENCHMARK(SetProperty<GLib, kLast>)->Name("property: set by name, last of 20/GObject");

}  // namespace

#include "property_bench.moc"
