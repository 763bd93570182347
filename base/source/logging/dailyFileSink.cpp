#include "kiv/base/dailyFileSink.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

#include <spdlog/details/os.h>

#include "logging/logClock.h"
#include "platform/appendedFile.h"

namespace kiv {
namespace detail {
namespace {

using logging::internal::LocalTime;
using logging::internal::LogTime;
using logging::internal::Now;
using logging::internal::TimeOfDay;
using std::chrono::milliseconds;

// How long a file is left alone after so many failures in a row. The second attempt is made at
// once, since the first may have met a passing trouble; beyond the most, pauses stay as long as
// they are.
constexpr int kMostFailures = 7;
milliseconds PauseAfter(int failures) {
    return failures < 2 ? milliseconds(0) : milliseconds(125) * (1 << (failures - 2));
}

spdlog::file_event_handlers KeptFromChildren(spdlog::file_event_handlers handlers) {
    handlers.after_open = [after = std::move(handlers.after_open)](const spdlog::filename_t& name,
                                                                   std::FILE* file) {
        platform::KeepFromChildren(file);
        if (after)
            after(name, file);
    };
    return handlers;
}

template <class Queue>
bool Contains(const Queue& names, const std::string& name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names.at(i) == name)
            return true;
    }
    return false;
}

}  // namespace

DailyFiles::DailyFiles(std::string baseFilename, int rotationHour, int rotationMinute,
                       bool truncate, unsigned short maxFiles,
                       const spdlog::file_event_handlers& handlers, NameOfDay nameOfDay)
    : baseFilename_(std::move(baseFilename)),
      rotationHour_(rotationHour),
      rotationMinute_(rotationMinute),
      fileHelper_(KeptFromChildren(handlers)),
      truncate_(truncate),
      maxFiles_(maxFiles),
      nameOfDay_(nameOfDay) {
    if (rotationHour < 0 || rotationHour > 23 || rotationMinute < 0 || rotationMinute > 59)
        throw spdlog::spdlog_ex("daily_file_sink: Invalid rotation time in ctor");
    nextRotation_ = next_rotation_tp_();
    if (maxFiles_ != 0)
        init_filenames_q_();
}

DailyFiles::~DailyFiles() = default;

void DailyFiles::Write(const spdlog::details::log_msg& msg, spdlog::formatter& formatter) {
    const bool due = msg.time >= nextRotation_;
    std::exception_ptr failure;
    const bool opened = (due || !fileOpened_) && !_Pauses() &&
                        _Open(nameOfDay_(baseFilename_, LocalTime(msg.time)), &failure);
    const bool rotated = due && opened;
    if (rotated)
        nextRotation_ = next_rotation_tp_();

    if (fileOpened_) {
        spdlog::memory_buf_t line;
        formatter.format(msg, line);
        fileHelper_.write(line);
    }
    // What may throw comes behind the write, so that the message itself is not lost.
    if (failure)
        std::rethrow_exception(failure);
    if (rotated && maxFiles_ != 0)
        delete_old_();
}

void DailyFiles::Flush() {
    // Without a file the helper would flush every stream of the process, and wait for those in use.
    if (fileOpened_)
        fileHelper_.flush();
}

std::string DailyFiles::OpenFilename() const {
    return fileOpened_ ? fileHelper_.filename() : std::string();
}

// Whether the last failure is so recent that no attempt is made.
bool DailyFiles::_Pauses() const {
    if (failures_ == 0)
        return false;
    const LogTime now = Now();
    // A clock that was set back ends the pause: it could last for years otherwise.
    return now >= lastFailure_ && now < lastFailure_ + PauseAfter(failures_);
}

// True if the file is open now. `failure` tells why it isn't, where that has not been said already.
bool DailyFiles::_Open(const std::string& name, std::exception_ptr* failure) {
    try {
        _OpenNow(name);
    } catch (const std::exception&) {
        if (failures_ == 0)
            *failure = std::current_exception();
        failures_ = std::min(failures_ + 1, kMostFailures);
        lastFailure_ = Now();
        return false;
    }
    failures_ = 0;
    return true;
}

// spdlog closes the file before, and then tries for 50 ms to open the new one: only what can be
// opened gets that far, and the file before stays open in place of any other.
void DailyFiles::_OpenNow(const std::string& name) {
    std::error_code error = std::make_error_code(std::errc::invalid_argument);
    // The system would end the name at a null character, and write to another file.
    if (name.find('\0') == name.npos) {
        spdlog::details::os::create_dir(spdlog::details::os::dir_name(name));
        error = platform::TryToAppend(name.c_str());
    }
    if (error)
        throw spdlog::spdlog_ex("Failed opening file " + name + " for writing: " + error.message());

    // After a change of the clock a rotation may lead to the file that is being written.
    const bool same = fileOpened_ && name == fileHelper_.filename();
    fileOpened_ = false;
    fileHelper_.open(name, truncate_ && !same);
    fileOpened_ = true;
}

LogTime DailyFiles::next_rotation_tp_() const {
    const LogTime now = Now();
    const std::tm today = LocalTime(now);
    int daysLater = 0;
    LogTime rotation = TimeOfDay(today, 0, rotationHour_, rotationMinute_);
    // Two days, where the clock was set back over midnight: tomorrow's first one is over then.
    while (rotation <= now && daysLater < 2)
        rotation = TimeOfDay(today, ++daysLater, rotationHour_, rotationMinute_);
    return rotation;
}

void DailyFiles::init_filenames_q_() {
    filenames_ = spdlog::details::circular_q<std::string>(maxFiles_);
    const std::tm today = LocalTime(Now());
    std::vector<std::string> found;
    while (found.size() < maxFiles_) {
        // At noon, a time that nearly every day has.
        const LogTime day = TimeOfDay(today, -static_cast<int>(found.size()), 12, 0);
        std::string name = nameOfDay_(baseFilename_, LocalTime(day));
        if (!spdlog::details::os::path_exists(name))
            break;
        found.push_back(std::move(name));
    }
    for (auto name = found.rbegin(); name != found.rend(); ++name)
        filenames_.push_back(std::move(*name));
}

void DailyFiles::delete_old_() {
    std::string current = fileHelper_.filename();
    // A clock that is set back and forth leads to a file once more. A second entry would push out
    // another file before its time, and in the end the file that is open.
    if (Contains(filenames_, current))
        return;
    if (filenames_.full()) {
        const std::string oldest = std::move(filenames_.front());
        filenames_.pop_front();
        if (spdlog::details::os::remove_if_exists(oldest) != 0) {
            const int error = errno;
            filenames_.push_back(std::move(current));
            throw spdlog::spdlog_ex("Failed removing daily file " + oldest, error);
        }
    }
    filenames_.push_back(std::move(current));
}

}  // namespace detail

template class KIV_BASE_TEMPLATE_DEFINE
    noCreatingDailyFileSink<std::mutex, spdlog::sinks::daily_filename_calculator>;

}  // namespace kiv
