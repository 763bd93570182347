#include "catalogue/graphCompare.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kiv/base/array.h"
#include "kiv/base/geometry.h"
#include "kiv/base/propertyInfo.h"
#include "kiv/base/status.h"
#include "kiv/base/type.h"
#include "kiv/base/value.h"

namespace catalogue {
namespace {

using SameFunction = bool (*)(const kiv::Value&, const kiv::Value&);

template <class T>
bool HaveSameBits(const T* left, const T* right, kiv::uint64 count) {
    return count == 0 || std::memcmp(static_cast<const void*>(left),
                                     static_cast<const void*>(right), count * sizeof(T)) == 0;
}

/// The types whose `==` has a tolerance, or tells NaN from itself and 0.0 not from -0.0.
class BitComparers {
public:
    BitComparers() {
#define KIV_ADD(T) _Add<kiv::T>();
        KIV_FOR_EACH_RECORD(KIV_ADD)
#undef KIV_ADD
        _Add<float>();
        _Add<double>();
    }

    bool Same(const kiv::Value& left, const kiv::Value& right) const {
        const auto found = functions_.find(left.GetType());
        return found == functions_.end() ? left == right : found->second(left, right);
    }

private:
    template <class T>
    void _Add() {
        functions_[kiv::Type::Get<T>()] = [](const kiv::Value& left, const kiv::Value& right) {
            return HaveSameBits(&left.Get<T>(), &right.Get<T>(), 1);
        };
        functions_[kiv::Type::Get<kiv::Array<T>>()] = [](const kiv::Value& left,
                                                         const kiv::Value& right) {
            const kiv::Array<T>& a = left.Get<kiv::Array<T>>();
            const kiv::Array<T>& b = right.Get<kiv::Array<T>>();
            return a.size() == b.size() && HaveSameBits(a.data(), b.data(), a.size());
        };
    }

    std::unordered_map<kiv::Type, SameFunction> functions_;
};

class GraphComparer {
public:
    Comparison Compare(kiv::Object& left, kiv::Object& right) {
        _Meet(&left, &right, {});
        // The list grows while it is walked: no recursion, which a deep graph would overflow.
        for (std::size_t i = 0; i < pairs_.size() && result_.difference.empty(); ++i)
            _ComparePair(i);
        result_.objects = pairs_.size();
        return std::move(result_);
    }

private:
    /// A property of a pair that was met before; an index only where it is an array.
    struct Place {
        std::size_t pair = 0;
        kiv::PropertyInfo property;
        kiv::int64 index = -1;
    };
    struct Pair {
        kiv::Object* left;
        kiv::Object* right;
        Place from;
    };

    void _ComparePair(std::size_t index) {
        const Pair pair = pairs_[index];
        const kiv::Type type = pair.left->GetType();
        if (pair.right->GetType() != type)
            return _Differ(pair.from, "objects of two classes");
        for (const kiv::PropertyInfo& property : type.GetProperties())
            if (property.IsStorable() || property.IsReadOnly())
                _CompareProperty(pair, {index, property});
    }

    void _CompareProperty(const Pair& pair, Place place) {
        kiv::Status leftStatus;
        kiv::Status rightStatus;
        const kiv::Value left = place.property.GetValue(kiv::Instance(pair.left), &leftStatus);
        const kiv::Value right = place.property.GetValue(kiv::Instance(pair.right), &rightStatus);
        ++result_.properties;
        if (!leftStatus || !rightStatus)
            return _Differ(place, "a property that cannot be read");
        if (left.GetType() != right.GetType())
            return _Differ(place, "values of two types");

        const kiv::int64 count = left.ObjectCount();
        if (count < 0) {
            if (!comparers_.Same(left, right))
                _Differ(place, "two values");
            return;
        }
        if (right.ObjectCount() != count)
            return _Differ(place, "arrays of two lengths");
        for (kiv::int64 i = 0; i < count; ++i) {
            if (left.GetType().IsVector())
                place.index = i;
            const auto at = static_cast<kiv::uint64>(i);
            _Meet(left.ObjectAt(at), right.ObjectAt(at), place);
        }
    }

    // Two objects that stand in the same place are partners from here on, and compared once.
    void _Meet(kiv::Object* left, kiv::Object* right, const Place& place) {
        if (!left || !right) {
            if (left != right)
                _Differ(place, "an object and none");
            return;
        }
        const auto [ofLeft, leftIsNew] = rightOf_.try_emplace(left, right);
        const auto [ofRight, rightIsNew] = leftOf_.try_emplace(right, left);
        if (ofLeft->second != right || ofRight->second != left)
            return _Differ(place, "objects that are shared in one graph only");
        if (leftIsNew)
            pairs_.push_back({left, right, place});
    }

    void _Differ(const Place& place, const char* what) {
        if (result_.difference.empty())
            result_.difference = _PathOf(place) + ": " + what;
    }

    std::string _PathOf(Place place) const {
        std::vector<std::string> steps;
        for (; !place.property.IsEmpty(); place = pairs_[place.pair].from) {
            std::string step(place.property.GetName());
            if (place.index >= 0)
                step.append("[").append(std::to_string(place.index)).append("]");
            steps.push_back(std::move(step));
        }
        std::string path = "root";
        for (auto step = steps.rbegin(); step != steps.rend(); ++step)
            path.append(".").append(*step);
        return path;
    }

    const BitComparers comparers_;
    Comparison result_;
    std::vector<Pair> pairs_;
    std::unordered_map<kiv::Object*, kiv::Object*> rightOf_;
    std::unordered_map<kiv::Object*, kiv::Object*> leftOf_;
};

}  // namespace

Comparison CompareGraphs(kiv::Object& left, kiv::Object& right) {
    return GraphComparer().Compare(left, right);
}

}  // namespace catalogue
