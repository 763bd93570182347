#include <QVariant>
#include <any>

#include "bench.h"
#include "kiv/base/matrix.h"
#include "kiv/base/value.h"

namespace {

using kiv::bench::Keep;
using kiv::bench::Renew;

static_assert(sizeof(kiv::Matrix4d) == 128);

template <class Container>
Container HoldInt() {
    return Container(7);
}

template <class Container>
Container HoldRecord() {
    return Container(kiv::Matrix4d{});
}

template <>
QVariant HoldRecord<QVariant>() {
    return QVariant::fromValue(kiv::Matrix4d{});
}

template <class Container, Container make()>
void Copy(benchmark::State& state) {
    Container source = make();
    for (auto _ : state) {
        Renew(source);
        Container copy(source);
        Keep(copy);
    }
}

BENCHMARK(Copy<kiv::Value, HoldInt>)->Name("Value: copy an int/kiv");
BENCHMARK(Copy<std::any, HoldInt>)->Name("Value: copy an int/std::any");
BENCHMARK(Copy<QVariant, HoldInt>)->Name("Value: copy an int/QVariant");

BENCHMARK(Copy<kiv::Value, HoldRecord>)->Name("Value: copy a 128-byte record/kiv");
BENCHMARK(Copy<std::any, HoldRecord>)->Name("Value: copy a 128-byte record/std::any");
BENCHMARK(Copy<QVariant, HoldRecord>)->Name("Value: copy a 128-byte record/QVariant");

int Get(const kiv::Value& value) {
    return value.Get<int>();
}
int Get(const std::any& value) {
    return std::any_cast<int>(value);
}
int Get(const QVariant& value) {
    return value.value<int>();
}

template <class Container>
void GetInt(benchmark::State& state) {
    Container source = HoldInt<Container>();
    for (auto _ : state) {
        Renew(source);
        Keep(Get(source));
    }
}

BENCHMARK(GetInt<kiv::Value>)->Name("Value: get an int/kiv");
BENCHMARK(GetInt<std::any>)->Name("Value: get an int/std::any");
BENCHMARK(GetInt<QVariant>)->Name("Value: get an int/QVariant");

}  // namespace

Q_DECLARE_METATYPE(kiv::Matrix4d)
