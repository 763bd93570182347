#include "kiv/base/property.h"

#include <algorithm>
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
        expression_.changed_ = true;
        if (!expression_.running_)
            expression_.binding_->Notify();
    }

    bool isRead = true;

private:
    PropertyExpression& expression_;
};

/// What the binding of an expression runs.
struct PropertyExpression::Follow {
    void operator()() const { expression->_Follow(); }

    std::shared_ptr<PropertyExpression> expression;
};

namespace {

/// The outermost expression that runs on the thread, with all that it leads to.
struct Spread {
    bool isUnderWay = false;
    uint64 failure = 0;  // its number, once bindings that never agree were cut off
};

constinit std::atomic<uint64> failures = 0;
[[gnu::tls_model("initial-exec")]] constinit thread_local Spread spread;

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

void PropertyExpression::_DropSources() {
    sources_.clear();
}

void PropertyExpression::_AddSource(PropertyCore& property) {
    // The binding may have ended in the midst of the evaluation.
    if (PropertyCore::IsRunning(binding_) && binding_->object == property.GetObject() &&
        binding_->propertyInfo.GetOffsetof() == property.GetPropertyInfo().GetOffsetof()) {
        isFirstRead_ = true;
        return;
    }
    const auto isOfProperty = [&property](const std::unique_ptr<Source>& source) {
        return source->GetProperty() == &property;
    };
    // Most expressions read in the same order each time.
    auto found = sources_.begin() + static_cast<std::ptrdiff_t>(expected_);
    if (found == sources_.end() || !isOfProperty(*found))
        found = std::find_if(sources_.begin(), sources_.end(), isOfProperty);
    if (found == sources_.end()) {
        auto added = std::make_unique<Source>(property, *this);
        // One that cannot be observed is none.
        if (!added->GetProperty())
            return;
        found = sources_.insert(found, std::move(added));
    }
    (*found)->isRead = true;
    expected_ = static_cast<std::size_t>(found - sources_.begin()) + 1;
}

/// Null if nothing was read, or what was read first has died already.
PropertyCore* PropertyExpression::_TakeSource() {
    if (sources_.empty())
        return nullptr;
    PropertyCore* const property = sources_.front()->GetProperty();
    sources_.erase(sources_.begin());
    return property;
}

/// False once one died that was read the last time, and would be read again.
bool PropertyExpression::_HasAllSources() const {
    return (!isFirstRead_ || binding_->object) &&
           std::all_of(sources_.begin(), sources_.end(),
                       [](const std::unique_ptr<Source>& source) { return source->GetProperty(); });
}

/// False if the property died meanwhile.
bool PropertyExpression::_Evaluate() {
    for (const std::unique_ptr<Source>& source : sources_)
        source->isRead = false;
    isFirstRead_ = false;
    expected_ = 0;
    changed_ = false;
    bool isAlive = false;
    try {
        const Reading scope(*this);
        Compute();
        isAlive = scope.property != nullptr;
    } catch (...) {
        isFirstRead_ = true;  // for all that is known: all sources stay
        throw;
    }
    std::erase_if(sources_, [](const std::unique_ptr<Source>& source) { return !source->isRead; });
    fresh_ = true;
    return isAlive;
}

void PropertyExpression::_Follow() {
    // The source of the binding stays linked also when it is no longer read.
    changed_ = changed_ || (isFirstRead_ && !fresh_);
    if (running_ || (!fresh_ && !changed_))
        return;
    struct Running {
        explicit Running(bool& set)
            : running(set), isOutermost(!std::exchange(spread.isUnderWay, true)) {
            running = true;
        }
        ~Running() {
            running = false;
            if (isOutermost)
                spread = Spread();
        }
        bool& running;
        const bool isOutermost;
    };
    const Running running(running_);
    rounds_ = 0;
    _TakeRounds();
}

void PropertyExpression::_TakeRounds() {
    // Bindings that lead back here come as another round, not deeper and deeper into the stack.
    do {
        if (!fresh_ && (!_HasAllSources() || !_Evaluate() || !PropertyCore::IsRunning(binding_)))
            return;
        fresh_ = false;
        try {
            Deliver();
        } catch (...) {
            // One observer threw; what another one had changed before is followed all the same.
            if (_NeedsAnotherRound())
                _TakeRounds();
            throw;
        }
    } while (_NeedsAnotherRound());
}

bool PropertyExpression::_NeedsAnotherRound() {
    constexpr int kMostRounds = 100;
    if (!changed_ || !PropertyCore::IsRunning(binding_))
        return false;
    // Once cut off, it is not tried again in each round of the others in the loop.
    if (spread.failure && cutOffIn_ == spread.failure)
        return false;
    if (++rounds_ < kMostRounds)
        return true;
    if (!spread.failure) {
        spread.failure = failures.fetch_add(1, std::memory_order_relaxed) + 1;
        KIV_CHECK_EXPLAINED(!changed_, "bindings lead back to their property and never agree");
    }
    cutOffIn_ = spread.failure;
    return false;
}

void PropertyCore::_NoteRead() const {
    BindingEvaluateScope* const scope = reading;
    if (!scope || scope != BindingEvaluateScope::Current() || scope->property == this)
        return;
    // To be linked is no change of what this property is to its readers.
    static_cast<PropertyExpression::Reading*>(scope)->expression._AddSource(
        const_cast<PropertyCore&>(*this));
}

void PropertyCore::_Bind(std::shared_ptr<PropertyExpression> expression) {
    if (!expression->_Evaluate())
        return;
    const std::function<void()> ended = _EndBinding();
    PropertyCore* const source = expression->_TakeSource();
    if (!source)
        return expression->Deliver();
    // The binding alone keeps the expression, so that it goes with it.
    PropertyExpression& bound = *expression;
    SetBinding(*source, PropertyExpression::Follow{std::move(expression)}, nullptr);
    PropertyBindingImpl* const binding = GetBinding();
    bound.binding_ = binding;
    bound.isFirstRead_ = true;
    bound.running_ = false;
    binding->Notify();
}

std::function<void()> PropertyCore::_EndBinding() {
    std::function<void()> ended;
    if (PropertyBindingImpl* binding = GetBinding())
        ended.swap(binding->function);
    // Its sources must not wake it any more.
    if (const auto* follow = ended.target<PropertyExpression::Follow>())
        follow->expression->_DropSources();
    Unbinding();
    return ended;
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
