#include "kiv/base/value.h"

#include <map>
#include <mutex>
#include <typeinfo>

#include "kiv/base/spinMutex.h"
#include "platform/modulePin.h"

namespace kiv {

/// What a value held before it took something else: released last of all, since what it takes may
/// be reachable through the old contents alone.
class Value::_HoldAside {
public:
    explicit _HoldAside(Value& from) noexcept {
        if (from._IsPlain())
            return;
        from._Table()._Move(from.storage_, storage_);
        info_ = std::exchange(from.info_, 0);
    }
    _HoldAside(const _HoldAside&) = delete;
    _HoldAside& operator=(const _HoldAside&) = delete;
    ~_HoldAside() {
        if (info_ != 0)
            reinterpret_cast<const detail::ValueTypeInfo*>(info_ & ~kTags)->_Destroy(storage_);
    }

private:
    detail::ValueStorage storage_;
    std::uintptr_t info_ = 0;
};

void Value::_CopySlow(const Value& from, Value& to) {
    if (&from == &to)
        return;
    Value copy = from;
    const _HoldAside old(to);
    to._Take(copy);
}

void Value::_Move(Value& from, Value& to) noexcept {
    if (&from == &to)
        return;
    const _HoldAside old(to);
    to._Take(from);
}

void Value::_SetType(const detail::ValueTypeInfo& table, Type type) {
    platform::PinModuleOf(&table);
    table.type.store(type.info_, std::memory_order_release);
}

bool Value::operator==(const Value& other) const {
    if (IsEmpty() || other.IsEmpty())
        return IsEmpty() == other.IsEmpty();
    if (info_ == other.info_)
        return _Table()._Equal(storage_, other.storage_);
    return _EqualityImpl(other);
}

bool Value::_EqualityImpl(const Value& other) const {
    return GetType() == other.GetType() && _Table()._Equal(storage_, other.storage_);
}

int64 Value::ObjectCount() const {
    if (IsEmpty() || _Table()._ObjectCount == nullptr)
        return -1;
    return static_cast<int64>(_Table()._ObjectCount(storage_));
}

bool Value::_TypeIs(Type target) const {
    const Type actual = GetType();
    if (actual == target)
        return true;
    if (IsEmpty())
        return false;
    if (target.IsPointer() && actual.IsPointer())
        return target.IsBaseOf(actual);
    if (target.IsWrapper() && actual.IsWrapper())
        return target.GetWrappedType().IsBaseOf(actual.GetWrappedType());
    return target.IsVector() && actual.IsVector() && TypeIs(actual, target);
}

const void* Value::_FailGet(detail::DefaultValueHolder (*factory)(), const Type& type) const {
    static constinit detail::SpinMutex mutex;
    // Never destroyed: a module's own statics may still ask while the process ends.
    static auto& instances = *new std::map<const std::type_info*, detail::DefaultValueHolder>;

    const std::type_info* key = &type.GetTypeid();
    {
        detail::SpinMutex::ScopedLock lock(mutex);
        const auto found = instances.find(key);
        if (found != instances.end())
            return found->second.instance.get();
    }
    // Made outside the lock: it runs a constructor of the type. If another thread is quicker, its
    // instance stays and this one goes when the lock is released.
    detail::DefaultValueHolder made = factory();
    detail::SpinMutex::ScopedLock lock(mutex);
    return instances.try_emplace(key, std::move(made)).first->second.instance.get();
}

}  // namespace kiv
