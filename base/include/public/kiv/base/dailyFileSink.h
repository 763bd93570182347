// A sink of spdlog with a file a day that, unlike spdlog's own, makes nothing until the first
// message arrives: neither the file nor its directory.
//
//     using Names = spdlog::sinks::daily_filename_calculator;
//     using Sink = noCreatingDailyFileSink<std::mutex, Names>;
//     spdlog::file_event_handlers none;
//     auto sink = std::make_shared<Sink>("logs/app.log", 0, 0, false, 14, none);
//     spdlog::logger logger("app", sink);  // writes "logs/app_2026-02-04.log"
//
// A file is named after the local date of the message that opens it. The first message at or after
// the time of day of a rotation goes to a new file, also after days without any.
//
// A file that can't be opened raises `spdlog::spdlog_ex` once, and further attempts are made with
// the next message and then at growing distances, up to 4 seconds. Until one succeeds, messages go
// to the file before or, without one, are dropped. An event handler that throws a `std::exception`
// counts as such a failure. Programs that the process starts don't inherit the file.
#ifndef KIV_BASE_DAILY_FILE_SINK_H_
#define KIV_BASE_DAILY_FILE_SINK_H_

#include <chrono>
#include <ctime>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include <spdlog/common.h>
#include <spdlog/details/circular_q.h>
#include <spdlog/details/file_helper.h>
#include <spdlog/formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/daily_file_sink.h>

#include "kiv/base/export.h"

namespace kiv {
namespace detail {

// What the sink does, whatever its lock and its names; called under that lock.
class KIV_BASE_API DailyFiles {
protected:
    using NameOfDay = spdlog::filename_t (*)(const spdlog::filename_t& base, const std::tm& day);

    DailyFiles(std::string baseFilename, int rotationHour, int rotationMinute, bool truncate,
               unsigned short maxFiles, const spdlog::file_event_handlers& handlers,
               NameOfDay nameOfDay);
    ~DailyFiles();

    void Write(const spdlog::details::log_msg& msg, spdlog::formatter& formatter);
    void Flush();
    std::string OpenFilename() const;

private:
    bool _Pauses() const;
    bool _Open(const std::string& name, std::exception_ptr* failure);
    void _OpenNow(const std::string& name);
    std::chrono::system_clock::time_point next_rotation_tp_() const;
    void init_filenames_q_();
    void delete_old_();

    std::string baseFilename_;
    int rotationHour_;
    int rotationMinute_;
    std::chrono::system_clock::time_point nextRotation_;
    spdlog::details::file_helper fileHelper_;
    bool truncate_;
    unsigned short maxFiles_;
    spdlog::details::circular_q<std::string> filenames_;  // oldest first
    bool fileOpened_ = false;
    NameOfDay nameOfDay_;
    // The attempts that failed since the last one that did not, and when the last of them ended.
    int failures_ = 0;
    std::chrono::system_clock::time_point lastFailure_;
};

}  // namespace detail

template <class Mutex, class FileNameCalc>
class noCreatingDailyFileSink : public spdlog::sinks::base_sink<Mutex>, private detail::DailyFiles {
public:
    /// `baseFilename` is in the encoding of narrow file functions; a relative one follows each
    /// change of the current directory, in writing and removing. `truncate` empties a day's file
    /// that is there already. Of the files that rotations opened, and those of the last days
    /// without a gap up to today that are there already, `maxFiles` stay; 0 removes none. Raises
    /// `spdlog::spdlog_ex` for an hour not within 0 to 23 or a minute not within 0 to 59.
    noCreatingDailyFileSink(std::string baseFilename, int rotationHour, int rotationMinute,
                            bool truncate, unsigned short maxFiles,
                            const spdlog::file_event_handlers& handlers)
        : DailyFiles(std::move(baseFilename), rotationHour, rotationMinute, truncate, maxFiles,
                     handlers, &FileNameCalc::calc_filename) {}

    /// The file that is open; empty if none is.
    std::string filename() {
        const std::lock_guard lock(this->mutex_);
        return OpenFilename();
    }

protected:
    void sink_it_(const spdlog::details::log_msg& msg) override { Write(msg, *this->formatter_); }
    void flush_() override { Flush(); }
};

extern template class KIV_BASE_TEMPLATE_EXTERN
    noCreatingDailyFileSink<std::mutex, spdlog::sinks::daily_filename_calculator>;

}  // namespace kiv

#endif  // KIV_BASE_DAILY_FILE_SINK_H_
