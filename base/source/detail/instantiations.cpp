// The one place where the library instantiates its families of types; the headers tell every other
// module not to.
#include "kiv/base/object.h"
#include "kiv/base/value.h"

namespace kiv {

#define KIV_DEFINE(T)                                                                    \
    template class KIV_BASE_TEMPLATE_DEFINE Array<T>;                                    \
    template KIV_BASE_TEMPLATE_DEFINE const detail::ValueTypeInfo& Value::_TableOf<T>(); \
    template KIV_BASE_TEMPLATE_DEFINE const detail::ValueTypeInfo& Value::_TableOf<Array<T>>();
KIV_FOR_EACH_VALUE_ELEMENT(KIV_DEFINE)
#undef KIV_DEFINE

#define KIV_DEFINE(T) template class KIV_BASE_TEMPLATE_DEFINE Array<T>;
KIV_FOR_EACH_OTHER_ARRAY(KIV_DEFINE)
KIV_DEFINE(Array<Posed>)
#undef KIV_DEFINE
template KIV_BASE_TEMPLATE_DEFINE const detail::ValueTypeInfo&
Value::_TableOf<Array<Array<Posed>>>();

}  // namespace kiv
