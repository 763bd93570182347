#include "kiv/base/untypedProperty.h"

#include <utility>

#include "kiv/base/check.h"

namespace kiv {
namespace {

constexpr const char* kObservedAsMember =
    "a property is observed as a registered member of an Object";

/// A binding's function that runs. It is kept here, out of the binding, which may end or get
/// another function meanwhile.
struct Run {
    explicit Run(PropertyBindingImpl* running);
    ~Run();

    Run* const outer;
    PropertyBindingImpl* binding;  // null once it ended or got another function
    std::function<void()> function;
};

/// What goes on on the thread, innermost first.
struct Activity {
    detail::PropertyWalk* walk = nullptr;
    Run* run = nullptr;
    BindingEvaluateScope* scope = nullptr;
};

// The model spares every change of a property a call; so few bytes are there for it also where the
// library is loaded late.
[[gnu::tls_model("initial-exec")]] constinit thread_local Activity activity;

Run::Run(PropertyBindingImpl* running)
    : outer(activity.run), binding(running), function(std::exchange(running->function, nullptr)) {
    activity.run = this;
}

Run::~Run() {
    activity.run = outer;
    if (binding && !binding->function)
        binding->function = std::move(function);
}

Run* FindRun(const PropertyBindingImpl* binding) {
    Run* run = activity.run;
    while (run && run->binding != binding)
        run = run->outer;
    return run;
}

void DropRuns(const PropertyBindingImpl* binding) {
    while (Run* run = FindRun(binding))
        run->binding = nullptr;
}

void LeaveObserver(const UntypedProperty* property, const PropertyObserverImpl* observer) {
    for (detail::PropertyWalk* walk = activity.walk; walk; walk = walk->outer) {
        if (walk->property != property)
            continue;
        if (walk->saved == observer)
            walk->saved = observer->next;
        if (walk->told == observer && !std::exchange(walk->left, true) && observer->next)
            walk->saved = observer->next;
    }
}

void LeaveProperty(const UntypedProperty* property) {
    for (detail::PropertyWalk* walk = activity.walk; walk; walk = walk->outer) {
        if (walk->property == property) {
            walk->property = nullptr;
            walk->saved = nullptr;
            walk->left = true;
        }
    }
    for (BindingEvaluateScope* scope = activity.scope; scope; scope = scope->previous) {
        if (scope->property == property)
            scope->property = nullptr;
    }
}

}  // namespace

namespace detail {

PropertyWalk::PropertyWalk(const UntypedProperty* walked, PropertyObserverImpl* head)
    : outer(activity.walk), property(walked), told(head) {
    activity.walk = this;
}

PropertyWalk::~PropertyWalk() {
    activity.walk = outer;
    _FreeDiscarded();
}

void PropertyWalk::GoOnWithSaved() {
    _FreeDiscarded();
    left = false;
    told = saved;
}

void PropertyWalk::_FreeDiscarded() {
    if (std::exchange(discarded, false))
        delete told;
}

}  // namespace detail

PropertyObserverImpl::~PropertyObserverImpl() = default;

PropertyObserverImpl* PropertyObserverImpl::AsPropertyObserverImpl() {
    return nullptr;
}

PropertyBindingImpl::PropertyBindingImpl(Object* sourceObject, PropertyInfo sourceInfo,
                                         Object* target, PropertyInfo targetInfo,
                                         std::function<void()>&& run,
                                         PropertyObserverImpl* observersOfTarget)
    : PropertyObserverImpl(sourceObject, sourceInfo),
      targetObject(target),
      targetPropertyInfo(targetInfo),
      function(std::move(run)),
      observers(observersOfTarget) {}

PropertyBindingImpl::~PropertyBindingImpl() {
    DropRuns(this);
}

void PropertyBindingImpl::Notify() {
    if (function) {
        Run run(this);
        run.function();
    } else if (Run* run = FindRun(this)) {
        run->function();
    }
}

PropertyObserverImpl* PropertyBindingImpl::AsPropertyObserverImpl() {
    return this;
}

UntypedProperty::UntypedProperty(const PropertyInfo& info) : link_(0), name_(info.GetName()) {
    static_assert((alignof(PropertyInfoImpl) & ~kAddressBits) == 0);
    static_assert((alignof(PropertyObserverImpl) & ~kAddressBits) == 0);
    _SetInfo(info);
}

UntypedProperty::~UntypedProperty() {
    LeaveProperty(this);
    PropertyObserverImpl* observer = GetObserverList();
    if (PropertyBindingImpl* binding = GetBinding())
        binding->observers = nullptr;
    else
        _SetInfo(GetPropertyInfo());
    while (observer) {
        observer->object = nullptr;
        observer = std::exchange(observer->next, nullptr);
    }
    Unbinding();
}

Object* UntypedProperty::GetObject() const {
    return _GetObject(GetPropertyInfo());
}

PropertyInfo UntypedProperty::GetPropertyInfo() const {
    const PropertyObserverImpl* linked = _GetLinked();
    if (!linked)
        return PropertyInfo(reinterpret_cast<PropertyInfoImpl*>(link_ & kAddressBits));
    const PropertyBindingImpl* binding = GetBinding();
    return binding ? binding->targetPropertyInfo : linked->propertyInfo;
}

Status UntypedProperty::Unbinding() {
    PropertyBindingImpl* const binding = GetBinding();
    if (!binding)
        return Status::Success;
    if (binding->observers)
        _SetLinked(binding->observers, GetFlags());
    else
        _SetInfo(binding->targetPropertyInfo);
    if (UntypedProperty* source = _GetObserved(*binding))
        source->Unsubscribe(binding);
    // Last, because what the function holds may look at this property when it goes.
    delete binding;
    return Status::Success;
}

void UntypedProperty::Subscribe(PropertyObserverImpl* observer) {
    // At the head of the list any other one would be taken for a binding.
    const bool builtForThis = _IsObservedBy(*observer);
    KIV_CHECK_EXPLAINED(builtForThis, kObservedAsMember);
    if (!builtForThis)
        return;
    PropertyObserverImpl* head = _GetLinked();
    if (PropertyBindingImpl* binding = GetBinding())
        return _Link(binding->observers, observer);
    if (head)
        _Link(head, observer);
    _SetLinked(observer, GetFlags());
}

void UntypedProperty::Unsubscribe(PropertyObserverImpl* observer) {
    LeaveObserver(this, observer);
    const PropertyInfo info = GetPropertyInfo();
    PropertyBindingImpl* const binding = GetBinding();
    PropertyObserverImpl* head = GetObserverList();
    PropertyObserverImpl** place = &head;
    while (*place && *place != observer)
        place = &(*place)->next;
    if (!*place)
        return;
    *place = std::exchange(observer->next, nullptr);
    if (binding)
        binding->observers = head;
    else if (head)
        _SetLinked(head, GetFlags());
    else
        _SetInfo(info);
}

void UntypedProperty::SetBinding(UntypedProperty& source, std::function<void()>&& function,
                                 Status*) {
    if (PropertyBindingImpl* binding = GetBinding()) {
        DropRuns(binding);
        binding->function = std::move(function);
        return;
    }
    const bool isAnother = &source != this;
    KIV_CHECK_EXPLAINED(isAnother, "a property cannot drive itself");
    const bool isObservable = source.GetObject() != nullptr;
    KIV_CHECK_EXPLAINED(isObservable, kObservedAsMember);
    if (isAnother && isObservable)
        _NewBinding(source, std::move(function), GetFlags(), GetObserverList());
}

void UntypedProperty::Discard(PropertyObserverImpl* observer) {
    detail::PropertyWalk* outermost = nullptr;
    for (detail::PropertyWalk* walk = activity.walk; walk; walk = walk->outer) {
        if (walk->told == observer)
            outermost = walk;
    }
    if (outermost)
        outermost->discarded = true;
    else
        delete observer;
}

bool UntypedProperty::IsRunning(const PropertyBindingImpl* binding) {
    return binding && FindRun(binding);
}

Object* UntypedProperty::_GetObject(const PropertyInfo& info) const {
    const int offset = info.GetOffsetof();
    if (offset < 0)
        return nullptr;
    return reinterpret_cast<Object*>(reinterpret_cast<std::uintptr_t>(this) -
                                     static_cast<std::uintptr_t>(offset));
}

void UntypedProperty::_Link(PropertyObserverImpl*& head, PropertyObserverImpl* observer) {
    observer->next = head;
    head = observer;
}

Status UntypedProperty::_NewBinding(UntypedProperty& source, std::function<void()>&& function,
                                    Flags flags, PropertyObserverImpl* observers) {
    auto* const binding =
        new PropertyBindingImpl(source.GetObject(), source.GetPropertyInfo(), GetObject(),
                                GetPropertyInfo(), std::move(function), observers);
    _SetLinked(binding, flags);
    source.Subscribe(binding);
    return Status::Success;
}

UntypedProperty* UntypedProperty::_GetObserved(const PropertyObserverImpl& observer) {
    return observer.object ? reinterpret_cast<UntypedProperty*>(_GetLocation(observer)) : nullptr;
}

void UntypedProperty::_SetInfo(const PropertyInfo& info) {
    link_ = reinterpret_cast<std::uintptr_t>(info.impl_) | static_cast<uint64>(GetFlags());
}

void UntypedProperty::_SetLinked(PropertyObserverImpl* observer, Flags flags) {
    link_ = reinterpret_cast<std::uintptr_t>(observer) | static_cast<uint64>(flags) | kLinkedBit;
}

BindingEvaluateScope::BindingEvaluateScope(UntypedProperty* evaluated)
    : previous(activity.scope), property(evaluated) {
    activity.scope = this;
}

BindingEvaluateScope::~BindingEvaluateScope() {
    activity.scope = previous;
}

BindingEvaluateScope* BindingEvaluateScope::Current() {
    return activity.scope;
}

}  // namespace kiv
