#include "kiv/base/callbackSink.h"

template class KIV_BASE_TEMPLATE_DEFINE spdlog::sinks::callback_sink<std::mutex>;
