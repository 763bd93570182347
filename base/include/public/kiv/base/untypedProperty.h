// The untyped core of properties that can be observed and bound: the base of a data member of an
// `Object`, and of the typed classes that modules use. Take `Property<T>` of property.h unless you
// write such a class.
//
//     class Ratio : public kiv::UntypedProperty {
//     public:
//         explicit Ratio(const kiv::PropertyInfo& info) : UntypedProperty(info) {}
//         void Set(double value) { value_ = value, Notify(); }
//     private:
//         double value_ = 0;
//     };
//
// A property that nobody observes costs one word and its name. It finds its owner by the offset
// that its `PropertyInfo` records, so it has to lie where that was registered, and can neither be
// copied nor moved.
//
// Observers and bindings are linked by plain pointers. Whoever made an observer keeps it alive
// while it is linked; a property owns the binding that drives it. What dies first lets go of the
// other: the observers of a dying property have a null `object` from then on. All of this may
// happen within a `Notify`, also to those that it runs. Nothing is locked: a property belongs to
// one thread at a time, together with those that it is bound to, and stays with it through a
// `Notify`.
#ifndef KIV_BASE_UNTYPED_PROPERTY_H_
#define KIV_BASE_UNTYPED_PROPERTY_H_

#include <cstdint>
#include <functional>
#include <string>

#include "kiv/base/export.h"
#include "kiv/base/integers.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/status.h"
#include "kiv/base/stringView.h"

namespace kiv {

class Object;

/// What is told of a property's changes.
class KIV_BASE_API PropertyObserverImpl {
public:
    /// The owner of the observed property and the property itself.
    PropertyObserverImpl(Object* observed, PropertyInfo info)
        : object(observed), propertyInfo(info) {}
    PropertyObserverImpl(const PropertyObserverImpl&) = delete;
    PropertyObserverImpl& operator=(const PropertyObserverImpl&) = delete;
    virtual ~PropertyObserverImpl();

    virtual void Notify() = 0;
    /// Null; a binding gives itself.
    virtual PropertyObserverImpl* AsPropertyObserverImpl();

    Object* object;  // null once the property died with the observer linked
    PropertyInfo propertyInfo;
    PropertyObserverImpl* next = nullptr;  // on the same list
};

/// Drives a property, the target: runs a function whenever another one, the source, changes. It is
/// an observer of its source, which the fields of the base name.
class KIV_BASE_API PropertyBindingImpl : public PropertyObserverImpl {
public:
    PropertyBindingImpl(Object* sourceObject, PropertyInfo sourceInfo, Object* target,
                        PropertyInfo targetInfo, std::function<void()>&& run,
                        PropertyObserverImpl* observersOfTarget);
    ~PropertyBindingImpl() override;

    /// Runs the function, if there is one. The function may replace itself, and end the binding.
    void Notify() override;
    PropertyObserverImpl* AsPropertyObserverImpl() override;

    Object* targetObject;
    PropertyInfo targetPropertyInfo;
    std::function<void()> function;   // empty while it runs; only `SetBinding` replaces it
    PropertyObserverImpl* observers;  // of the target
};

namespace detail {

/// A `Notify` on its way along a list. The thread knows those that are under way: whoever unlinks
/// an observer moves the walks that stand on it, so that none goes on from one that is gone.
struct KIV_BASE_API PropertyWalk {
    PropertyWalk(const UntypedProperty* walked, PropertyObserverImpl* head);
    PropertyWalk(const PropertyWalk&) = delete;
    PropertyWalk& operator=(const PropertyWalk&) = delete;
    ~PropertyWalk();

    void GoOnWithSaved();

    PropertyWalk* const outer;
    const UntypedProperty* property;  // null once it died
    PropertyObserverImpl* told;       // null at the end of the list
    PropertyObserverImpl* saved = nullptr;
    bool left = false;       // `told` was unlinked while it was told
    bool discarded = false;  // and is to be deleted then

private:
    void _FreeDiscarded();
};

}  // namespace detail

class KIV_BASE_API UntypedProperty {
public:
    /// Two bits that are kept for the typed class, which gives them their meaning.
    enum class Flags : uint64 { None = 0, First = 2, Second = 4, Both = First | Second };

    UntypedProperty(const UntypedProperty&) = delete;
    UntypedProperty& operator=(const UntypedProperty&) = delete;

    /// The owner; null if the property was built without a `PropertyInfo`, or with one that has no
    /// offset.
    Object* GetObject() const;
    PropertyInfo GetPropertyInfo() const;
    StringView GetName() const { return name_; }
    bool HasBinding() const { return GetBinding() != nullptr; }
    /// Ends the binding, if there is one; the observers stay. Always `Status::Success`.
    Status Unbinding();

protected:
    explicit UntypedProperty(const PropertyInfo& info);
    /// Frees the binding and lets go of all observers.
    ~UntypedProperty();

    /// Null if the property is not bound.
    PropertyBindingImpl* GetBinding() const {
        PropertyObserverImpl* const linked = _GetLinked();
        return linked && !_IsObservedBy(*linked) ? static_cast<PropertyBindingImpl*>(linked)
                                                 : nullptr;
    }
    /// The head, which is the newest.
    PropertyObserverImpl* GetObserverList() const {
        const PropertyBindingImpl* binding = GetBinding();
        return binding ? binding->observers : _GetLinked();
    }
    Flags GetFlags() const { return static_cast<Flags>(link_ & kFlagBits); }
    void SetFlags(Flags flags) {
        link_ = (link_ & ~kFlagBits) | (static_cast<uint64>(flags) & kFlagBits);
    }

    /// Links an observer, which is linked nowhere yet and was built with this property's owner and
    /// `PropertyInfo`. One that was not is a failed check, and is not linked.
    void Subscribe(PropertyObserverImpl* observer);
    /// Unlinks the observer, if it is linked here. It may be linked again.
    void Unsubscribe(PropertyObserverImpl* observer);
    /// Deletes an observer that is not linked any more: at once or, if it is being told by a
    /// `Notify()` of the calling thread, as soon as it is through. Told in another way, an observer
    /// must not come here from within its own `Notify`.
    static void Discard(PropertyObserverImpl* observer);
    /// Tells all observers, the newest first. Those that are linked meanwhile are not told.
    void Notify() {
        if (link_ & kLinkedBit)
            _NotifyAll();
    }
    /// Tells that one alone. Nothing is deferred for it: see `Discard`.
    void Notify(PropertyObserverImpl* observer) { observer->Notify(); }

    /// Lets `function` run whenever `source`, another property, changes. If the property is bound
    /// already, only the function of that binding is replaced, and `source` is ignored. A source
    /// that cannot be observed is a failed check, as is this property itself, and nothing changes.
    /// `status` is not written.
    void SetBinding(UntypedProperty& source, std::function<void()>&& function, Status* status);
    /// True while the function of that binding runs on this thread; no longer if the binding ended
    /// or got another function meanwhile, so that a function can ask whether it still counts.
    static bool IsRunning(const PropertyBindingImpl* binding);

private:
    //  63                                      3   2   1   0
    //  +---------------------------------------+-------+---+
    //  | address, its low bits zero            | Flags | L |
    //  +---------------------------------------+-------+---+
    //
    // L clear: of the `PropertyInfo` record. L set: of an observer, which is the head of the list
    // if it was built for this property, and else the binding that drives the property.
    static constexpr uint64 kLinkedBit = 1;
    static constexpr uint64 kFlagBits = static_cast<uint64>(Flags::Both);
    static constexpr uint64 kAddressBits = ~(kLinkedBit | kFlagBits);

    PropertyObserverImpl* _GetLinked() const {
        return link_ & kLinkedBit ? reinterpret_cast<PropertyObserverImpl*>(link_ & kAddressBits)
                                  : nullptr;
    }
    bool _IsObservedBy(const PropertyObserverImpl& observer) const {
        return _GetLocation(observer) == reinterpret_cast<std::uintptr_t>(this);
    }
    /// Where the property lies that the observer was built for. A number, because there is no
    /// object of which that place and this one are known to be a part.
    static std::uintptr_t _GetLocation(const PropertyObserverImpl& observer) {
        return reinterpret_cast<std::uintptr_t>(observer.object) +
               static_cast<std::uintptr_t>(
                   static_cast<std::intptr_t>(observer.propertyInfo.GetOffsetof()));
    }
    Object* _GetObject(const PropertyInfo& info) const;
    static void _Link(PropertyObserverImpl*& head, PropertyObserverImpl* observer);
    Status _NewBinding(UntypedProperty& source, std::function<void()>&& function, Flags flags,
                       PropertyObserverImpl* observers);
    /// The property that the observer was built for, if that is alive.
    static UntypedProperty* _GetObserved(const PropertyObserverImpl& observer);
    void _SetInfo(const PropertyInfo& info);
    void _SetLinked(PropertyObserverImpl* observer, Flags flags);
    void _NotifyAll();

    uint64 link_;
    std::string name_;
};

static_assert(sizeof(UntypedProperty) == sizeof(uint64) + sizeof(std::string));

// Inline, because a call from one module into another costs more than all the rest of the loop.
inline void UntypedProperty::_NotifyAll() {
    detail::PropertyWalk walk(this, GetObserverList());
    while (walk.told) {
        PropertyObserverImpl* const observer = walk.told;
        walk.saved = observer->next;
        observer->Notify();
        // The observer may have changed its place, or be gone.
        if (walk.left) [[unlikely]]
            walk.GoOnWithSaved();
        else
            walk.told = observer->next ? observer->next : walk.saved;
    }
}

/// Marks a property as under evaluation on the calling thread while the scope lives. Scopes end in
/// reverse order of their start.
struct KIV_BASE_API BindingEvaluateScope {
    explicit BindingEvaluateScope(UntypedProperty* evaluated);
    BindingEvaluateScope(const BindingEvaluateScope&) = delete;
    BindingEvaluateScope& operator=(const BindingEvaluateScope&) = delete;
    ~BindingEvaluateScope();

    /// The innermost scope of the calling thread, or null.
    static BindingEvaluateScope* Current();

    BindingEvaluateScope* previous;
    UntypedProperty* property;  // null once it died
};

}  // namespace kiv

#endif  // KIV_BASE_UNTYPED_PROPERTY_H_
