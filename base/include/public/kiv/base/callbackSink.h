// `spdlog::sinks::callback_sink`, for versions of spdlog that come without it: a sink that hands
// each message to a function, under the lock of the sink.
#ifndef KIV_BASE_CALLBACK_SINK_H_
#define KIV_BASE_CALLBACK_SINK_H_

#include <functional>
#include <mutex>
#include <utility>

#include <spdlog/sinks/base_sink.h>

#include "kiv/base/export.h"

#if __has_include(<spdlog/sinks/callback_sink.h>)
#include <spdlog/sinks/callback_sink.h>
#else

namespace spdlog {

using custom_log_callback = std::function<void(const details::log_msg& msg)>;

namespace sinks {

template <class Mutex>
class callback_sink final : public base_sink<Mutex> {
public:
    explicit callback_sink(custom_log_callback callback) : callback_(std::move(callback)) {}

protected:
    void sink_it_(const details::log_msg& msg) override { callback_(msg); }
    void flush_() override {}

private:
    custom_log_callback callback_;
};

}  // namespace sinks
}  // namespace spdlog

#endif

extern template class KIV_BASE_TEMPLATE_EXTERN spdlog::sinks::callback_sink<std::mutex>;

#endif  // KIV_BASE_CALLBACK_SINK_H_
