// The order in which the library comes to life, from top to bottom, and in which it goes, from
// bottom to top. Every object of the library that needs an initialiser at load stands here, so that
// the order can be read instead of being left to the linker.
#include <spdlog/spdlog.h>

#include "archive/builtInTypes.h"
#include "kiv/base/archiveTypes.h"
#include "kiv/base/array.h"
#include "kiv/base/bufferObject.h"
#include "kiv/base/file.h"
#include "kiv/base/logFiles.h"
#include "kiv/base/logging.h"
#include "kiv/base/object.h"
#include "kiv/base/registration.h"
#include "kiv/base/status.h"
#include "kiv/base/typeRegistry.h"

namespace kiv {

constinit const Status Status::Success{StatusCode{0}};
constinit const Status Status::Failure{StatusCode{2}};
constinit const Status Status::InsufficientMemory{StatusCode{3}};
constinit const Status Status::InvalidCast{StatusCode{4}};
constinit const Status Status::InvalidOperation{StatusCode{5}};
constinit const Status Status::InvalidParameter{StatusCode{6}};
constinit const Status Status::NotImplemented{StatusCode{9}};

// Every handle of a file that is closed asks it, down to those that go last.
std::map<FileHandle, internal::KIV_BASE_SYSTEM::DirCacheEntry>
    internal::KIV_BASE_SYSTEM::UniqueFDTraits::file_map;
constinit std::mutex internal::KIV_BASE_SYSTEM::UniqueFDTraits::file_map_mutex;

// Before everything that has a `Type`, since a default one reads it already.
TypeRegistry TypeRegistry::instance_;

// spdlog's own statics come to life when they are first asked for. Asked for here they outlive all
// that stands below, which may therefore log until it goes. The sinks belong to the default logger
// as well, so files are closed with it, behind the last line.
[[maybe_unused]] static spdlog::logger* const defaultLogger = spdlog::default_logger_raw();
std::shared_ptr<logging::ConsoleSink> logging::consoleSink;
std::shared_ptr<logging::FileSink> logging::fileSink;
std::shared_ptr<logging::CallbackSink> logging::callbackSink;
std::string logging::LOG_FILE_BASENAME = "kiv";
std::string logging::LOG_FILE_BASENAME_EXT = "kiv.log";
Logger2 baseLogger("kiv.base");
logging::Logger baseLogger2("kiv.base");

// Modules add their handlers to the table when they are loaded.
std::map<std::string, ArchiveSerializer<Value>::Handler>
    ArchiveSerializer<Value>::value_archive_handles_;
std::map<std::string, ArchiveSerializer<Value>::MemberHandler>
    ArchiveSerializer<Value>::_member_handles_;
[[maybe_unused]] static const bool archived = (RegisterBuiltInArchiveTypes(), true);

// A derived class may come before its base: the base's definition completes the lists.
[[maybe_unused]] static const bool registered[] = {
    Registration::Class<BufferObject>("BufferObject").Abstract(),
    Registration::Class<Object>("Object").Abstract(),
    Registration::Class<Array<float>>("FloatArray").Abstract(),
    Registration::Class<Array<double>>("DoubleArray").Abstract(),
};

}  // namespace kiv
