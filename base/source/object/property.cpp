#include "kiv/base/property.h"

#include "kiv/base/check.h"

namespace kiv {
namespace detail {

/// An observer that is linked while it lives, unless its property dies first.
class PropertyLink : public PropertyObserverImpl {
public:
    explicit PropertyLink(PropertyCore& property)
        : PropertyObserverImpl(property.GetObject(), property.GetPropertyInfo()),
          property_(&property) {
        property.Subscribe(this);
    }
    ~PropertyLink() override { Unlink(); }

    bool IsLinked() const { return object != nullptr; }
    PropertyCore* GetProperty() const { return IsLinked() ? property_ : nullptr; }
    void Unlink() {
        if (IsLinked())
            property_->Unsubscribe(this);
        object = nullptr;
    }

private:
    PropertyCore* property_;
};

class CallbackObserver final : public PropertyLink {
public:
    CallbackObserver(PropertyCore& property, std::function<void()>&& callback)
        : PropertyLink(property), callback_(std::move(callback)) {}

    void Notify() override {
        const Call call(*this);
        if (callback_)
            callback_();
    }
    /// A callback that runs is freed when it is through.
    void Drop() {
        Unlink();
        dropped_ = true;
        if (calls_ == 0)
            delete this;
    }

private:
    struct Call {
        explicit Call(CallbackObserver& called) : observer(called) { ++observer.calls_; }
        ~Call() {
            if (--observer.calls_ == 0 && observer.dropped_)
                delete &observer;
        }
        CallbackObserver& observer;
    };

    ~CallbackObserver() override = default;

    std::function<void()> callback_;
    unsigned int calls_ = 0;  // within one another
    bool dropped_ = false;
};

void DropObserver::operator()(CallbackObserver* observer) const {
    observer->Drop();
}

/// A link to a property that the expression reads.
class PropertyExpression::Source final : public PropertyLink {
public:
    Source(PropertyCore& property, PropertyExpression& expression)
        : PropertyLink(property), expression_(expression) {}

    // The binding keeps what it runs alive, which this link may be a part of.
    void Notify() override {
        if (expression_.running_)
            expression_.changed_ = true;
        else
            expression_.binding_->Notify();
    }

    bool isRead = true;

private:
    PropertyExpression& expression_;
};

/// An evaluation on its way. Only what is read in this very scope is a source of the expression.
struct PropertyExpression::Reading : BindingEvaluateScope {
    explicit Reading(PropertyExpression& evaluated);
    ~Reading();

    PropertyExpression& expression;
    Reading* const outer;

    static constinit thread_local Reading* innermost;
};

constinit thread_local PropertyExpression::Reading* PropertyExpression::Reading::innermost =
    nullptr;

PropertyExpression::Reading::Reading(PropertyExpression& evaluated)
    : BindingEvaluateScope(evaluated.target_), expression(evaluated), outer(innermost) {
    innermost = this;
}

PropertyExpression::Reading::~Reading() {
    innermost = outer;
}

PropertyExpression::PropertyExpression(PropertyCore* target) : target_(target) {}

PropertyExpression::~PropertyExpression() = default;

void PropertyExpression::_AddSource(PropertyCore& property) {
    // The binding may have ended in the midst of the evaluation.
    if (PropertyCore::IsRunning(binding_) && binding_->object == property.GetObject() &&
        binding_->propertyInfo.GetOffsetof() == property.GetPropertyInfo().GetOffsetof())
        return;
    for (const std::unique_ptr<Source>& source : sources_) {
        if (source->GetProperty() == &property) {
            source->isRead = true;
            return;
        }
    }
    sources_.push_back(std::make_unique<Source>(property, *this));
}

PropertyCore* PropertyExpression::_TakeSource() {
    if (sources_.empty())
        return nullptr;
    PropertyCore* const property = sources_.front()->GetProperty();
    sources_.erase(sources_.begin());
    return property;
}

/// False if the property died meanwhile.
bool PropertyExpression::_Evaluate() {
    for (const std::unique_ptr<Source>& source : sources_)
        source->isRead = false;
    bool isAlive = false;
    {
        const Reading reading(*this);
        Compute();
        isAlive = reading.property != nullptr;
    }
    std::erase_if(sources_, [](const std::unique_ptr<Source>& source) {
        return !source->isRead || !source->IsLinked();
    });
    return isAlive;
}

void PropertyExpression::_Follow() {
    if (running_) {
        changed_ = true;
        return;
    }
    struct Running {
        explicit Running(bool& set) : running(set) { running = true; }
        ~Running() { running = false; }
        bool& running;
    };
    const Running running(running_);
    // Bindings that lead back here come as another round, not deeper and deeper into the stack.
    constexpr int kMostRounds = 100;
    for (int round = 0; round < kMostRounds; ++round) {
        changed_ = false;
        if (!std::exchange(fresh_, false)) {
            if (!_Evaluate() || !PropertyCore::IsRunning(binding_))
                return;
        }
        Deliver();
        if (!changed_ || !PropertyCore::IsRunning(binding_))
            return;
    }
    KIV_CHECK_EXPLAINED(!changed_, "bindings lead back to their property and never agree");
}

PropertyObserver PropertyCore::Observe(std::function<void()> callback) {
    return PropertyObserver(new CallbackObserver(*this, std::move(callback)));
}

void PropertyCore::_NoteRead() const {
    PropertyExpression::Reading* const reading = PropertyExpression::Reading::innermost;
    if (!reading || BindingEvaluateScope::Current() != reading || reading->property == this)
        return;
    // To be linked is no change of what this property is to its readers.
    reading->expression._AddSource(const_cast<PropertyCore&>(*this));
}

void PropertyCore::_Bind(const std::shared_ptr<PropertyExpression>& expression) {
    if (!expression->_Evaluate())
        return;
    Unbinding();
    PropertyCore* const source = expression->_TakeSource();
    if (!source)
        return expression->Deliver();
    SetBinding(
        *source, [expression] { expression->_Follow(); }, nullptr);
    expression->binding_ = GetBinding();
    expression->running_ = false;
    expression->binding_->Notify();
}

PropertyInfo FindProperty(Type declaringType, int offset) {
    for (const PropertyInfo& property : declaringType.GetProperties()) {
        if (property.GetOffsetof() == offset && property.GetDeclaringType() == declaringType)
            return property;
    }
    return PropertyInfo();
}

}  // namespace detail
}  // namespace kiv
