// Changes an int property that somebody observes, and reads one while nobody does.

#include <QObject>
#include <QProperty>
#include <functional>
#include <memory>
#include <vector>

#include "bench.h"
#include "kiv/base/object.h"
#include "kiv/base/property.h"

namespace kiv::bench {

class Sample : public Object {
    KIV_OBJECT(Sample, Object)

public:
    Property<int> value{PropertyInfoOf<&Sample::value>()};
};

class QtSample : public QObject {
    Q_OBJECT

public:
    void Set(int value) {
        if (value == value_)
            return;
        value_ = value;
        valueChanged(value);
    }

Q_SIGNALS:
    void valueChanged(int value);

private:
    int value_ = 0;
};

}  // namespace kiv::bench

namespace {

using kiv::bench::Keep;
using kiv::bench::Renew;

[[maybe_unused]] const bool registered = kiv::Registration::Class<kiv::bench::Sample>("Sample")
                                             .Property("value", &kiv::bench::Sample::value)
                                             .Creatable();

// One shape for all: a value, and observers that count what they are told.

struct Kiv {
    void Observe() {
        observers.push_back(object->value.Observe([this] { ++told; }));
    }
    int Get() const { return object->value.Get(); }
    void Set(int value) { object->value.Set(value); }

    kiv::RefPtr<kiv::bench::Sample> object = kiv::MakeRefCounted<kiv::bench::Sample>();
    std::vector<kiv::PropertyObserver> observers;
    int told = 0;
};

struct QtProperty {
    struct Count {
        void operator()() const { ++*told; }
        int* told;
    };

    void Observe() {
        observers.push_back(
            std::make_unique<QPropertyChangeHandler<Count>>(property, Count{&told}));
    }
    int Get() const { return property.value(); }
    void Set(int value) { property.setValue(value); }

    QProperty<int> property{0};
    std::vector<std::unique_ptr<QPropertyChangeHandler<Count>>> observers;
    int told = 0;
};

struct QtSignal {
    void Observe() {
        QObject::connect(&object, &kiv::bench::QtSample::valueChanged, [this] { ++told; });
    }
    void Set(int value) { object.Set(value); }

    kiv::bench::QtSample object;
    int told = 0;
};

// What neither bears its observers to go, nor knows its owner.
struct ByHand {
    void Observe() {
        observers.push_back([this] { ++told; });
    }
    int Get() const { return value; }
    void Set(int newValue) {
        if (newValue == value)
            return;
        value = newValue;
        for (const std::function<void()>& observer : observers)
            observer();
    }

    int value = 0;
    std::vector<std::function<void()>> observers;
    int told = 0;
};

template <class Library, int count>
void Notify(benchmark::State& state) {
    Library library;
    for (int i = 0; i < count; ++i)
        library.Observe();
    int value = 0;
    for (auto _ : state)
        library.Set(++value);
    Keep(library.told);
    if (library.told != value * count)
        state.SkipWithError("not everybody was told");
}

template <class Library>
void Get(benchmark::State& state) {
    Library library;
    library.Set(5);
    for (auto _ : state) {
        Renew(library);
        Keep(library.Get());
    }
}

#define KIV_NOTIFY(Library, name)                                      \
    BENCHMARK(Notify<Library, 0>)->Name("notify: no observer/" name);  \
    BENCHMARK(Notify<Library, 1>)->Name("notify: one observer/" name); \
    BENCHMARK(Notify<Library, 10>)->Name("notify: ten observers/" name);

KIV_NOTIFY(Kiv, "kiv")
KIV_NOTIFY(QtProperty, "QProperty")
KIV_NOTIFY(QtSignal, "Qt signal")
KIV_NOTIFY(ByHand, "limit by hand")

// A plain member, which is all that a Qt signal needs, cannot take part in a binding.
BENCHMARK(Get<Kiv>)->Name("notify: value read/kiv");
BENCHMARK(Get<QtProperty>)->Name("notify: value read/QProperty");
BENCHMARK(Get<ByHand>)->Name("notify: value read/limit by hand");

}  // namespace

#include "notify_bench.moc"
