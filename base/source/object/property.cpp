#include "kiv/base/property.h"

#include <utility>

#include "kiv/base/check.h"

namespace kiv {
namespace detail {

PropertyLink::PropertyLink(PropertyCore& property)
    : PropertyObserverImpl(property.GetObject(), property.GetPropertyInfo()), property_(&property) {
    property.Subscribe(this);
}

PropertyLink::~PropertyLink() {
    _Unlink();
}

void PropertyLink::Drop() {
    _Unlink();
    PropertyCore::Discard(this);
}

void PropertyLink::_Unlink() {
    if (PropertyCore* property = GetProperty())
        property->Unsubscribe(this);
    object = nullptr;
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

namespace {

/// The innermost `Reading` of the thread. The model spares every read of a property a call.
[[gnu::tls_model("initial-exec")]] constinit thread_local BindingEvaluateScope* reading = nullptr;

}  // namespace

/// An evaluation on its way. Only what is read in this very scope is a source of the expression.
struct PropertyExpression::Reading : BindingEvaluateScope {
    explicit Reading(PropertyExpression& evaluated)
        : BindingEvaluateScope(evaluated.target_),
          expression(evaluated),
          outer(std::exchange(reading, this)) {}
    ~Reading() { reading = outer; }

    PropertyExpression& expression;
    BindingEvaluateScope* const outer;
};

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
    PropertyCore* property = nullptr;
    while (!property && !sources_.empty()) {
        property = sources_.front()->GetProperty();
        sources_.erase(sources_.begin());
    }
    return property;
}

/// False if the property died meanwhile.
bool PropertyExpression::_Evaluate() {
    for (const std::unique_ptr<Source>& source : sources_)
        source->isRead = false;
    bool isAlive = false;
    {
        const Reading scope(*this);
        Compute();
        isAlive = scope.property != nullptr;
    }
    std::erase_if(sources_, [](const std::unique_ptr<Source>& source) {
        return !source->isRead || !source->GetProperty();
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

void PropertyCore::_NoteRead() const {
    BindingEvaluateScope* const scope = reading;
    if (!scope || scope != BindingEvaluateScope::Current() || scope->property == this)
        return;
    // To be linked is no change of what this property is to its readers.
    static_cast<PropertyExpression::Reading*>(scope)->expression._AddSource(
        const_cast<PropertyCore&>(*this));
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
