// A thermostat: properties that follow others, and a callback that hears of the changes.
#include <cstdio>

#include "kiv/base/object.h"
#include "kiv/base/property.h"
#include "kiv/base/registration.h"

class Thermostat : public kiv::Object {
    KIV_OBJECT(Thermostat, kiv::Object)
public:
    kiv::Property<double> celsius{kiv::PropertyInfoOf<&Thermostat::celsius>(), 18};
    kiv::Property<double> wanted{kiv::PropertyInfoOf<&Thermostat::wanted>(), 20};
    kiv::Property<bool> heating{kiv::PropertyInfoOf<&Thermostat::heating>()};
};

[[maybe_unused]] static const bool registered = kiv::Registration::Class<Thermostat>("Thermostat")
                                                    .Property("celsius", &Thermostat::celsius)
                                                    .Property("wanted", &Thermostat::wanted)
                                                    .Property("heating", &Thermostat::heating)
                                                    .Creatable();

int main() {
    const kiv::RefPtr<Thermostat> hall = kiv::MakeRefCounted<Thermostat>();
    const kiv::RefPtr<Thermostat> attic = kiv::MakeRefCounted<Thermostat>();
    for (Thermostat* room : {hall.get(), attic.get()})
        room->heating.Bind([room] { return room->celsius.Get() < room->wanted.Get(); });
    attic->wanted.Bind(hall->wanted);

    const auto report = [](const char* name, Thermostat* room) {
        return room->heating.Observe([name, room] {
            std::printf("%s: %s at %g\n", name, room->heating.Get() ? "on" : "off",
                        room->celsius.Get());
        });
    };
    const kiv::PropertyObserver ofHall = report("hall", hall.get());
    kiv::PropertyObserver ofAttic = report("attic", attic.get());

    hall->celsius.Set(19);              // still too cold: nobody is told
    hall->celsius.Set(20);              // hall: off at 20
    hall->SetProperty("wanted", 17.0);  // attic: off at 18
    hall->wanted.Set(19);               // attic: on at 18
    attic->heating.Set(false);          // attic: off at 18; by hand, it follows nothing any more
    hall->celsius.Set(10);              // hall: on at 10
    ofAttic.Reset();
    attic->heating.Set(true);  // nobody is told
}
