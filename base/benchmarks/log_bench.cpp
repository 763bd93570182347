// A log call: one that its threshold stops, and one whose line goes to a file.
//
// Every candidate formats the same text, a number and a name, and writes through the buffer of a
// stream, which nobody flushes meanwhile. Ours is set up by `initLog`, with console and callback
// switched off, which leaves two sinks to pass by; spdlog used directly has its own daily sink and
// nothing else, on a logger of its own, and the same pattern. glog writes its own kind of prefix;
// its calls below a threshold are those of `VLOG`, since `LOG` formats first and then drops the
// text.
#include <string>

#include <glog/logging.h>
#include <spdlog/sinks/daily_file_sink.h>
#include <spdlog/spdlog.h>

#include "bench.h"
#include "kiv/base/file.h"
#include "kiv/base/logSetup.h"

namespace {

using kiv::bench::Renew;

// For the whole process: the peers keep their files open to its end.
const kiv::ScopedTemporaryDirectory& Folder() {
    static const kiv::ScopedTemporaryDirectory folder;
    return folder;
}

struct Kiv {
    Kiv() {
        kiv::logging::initLog(7, Folder().path, "kiv", false);
        kiv::logging::enableLogToConsole(false);
        kiv::logging::enableLogCallback(false);
        kiv::baseLogger2.setLogLevel(kiv::LogLevel::Info);
    }
    static void Below(int number, const char* name) {
        kiv::baseLogger2.log(kiv::LogLevel::Debug, "Loader", "%d vertices in mesh %s", number,
                             name);
    }
    static void Line(int number, const char* name) {
        kiv::baseLogger2.log(kiv::LogLevel::Info, "Loader", "%d vertices in mesh %s", number, name);
    }
};

struct Spdlog {
    Spdlog() {
        static auto sink = std::make_shared<spdlog::sinks::daily_file_sink_mt>(
            Folder().path + "/spdlog.log", 0, 0, false, std::uint16_t{7});
        static spdlog::logger direct("", sink);
        logger = &direct;
    }
    static void Below(int number, const char* name) {
        logger->debug("[domain:kiv.base][tag:Loader]{} vertices in mesh {}", number, name);
    }
    static void Line(int number, const char* name) {
        logger->info("[domain:kiv.base][tag:Loader]{} vertices in mesh {}", number, name);
    }
    static inline spdlog::logger* logger = nullptr;
};

struct Glog {
    Glog() {
        FLAGS_log_dir = Folder().path;
        FLAGS_logtostderr = false;
        FLAGS_max_log_size = 4095;  // megabytes: one file for all rounds, as with the others
        google::InitGoogleLogging("glog");
    }
    static void Below(int number, const char* name) {
        VLOG(1) << "[Loader]" << number << " vertices in mesh " << name;
    }
    static void Line(int number, const char* name) {
        LOG(INFO) << "[domain:kiv.base][tag:Loader]" << number << " vertices in mesh " << name;
    }
};

// A row and the one with two threads share what is set up.
template <class Candidate>
const Candidate& SetUp() {
    static const Candidate candidate;
    return candidate;
}

template <class Candidate, void (*log)(int number, const char* name)>
void Log(benchmark::State& state) {
    SetUp<Candidate>();
    int number = 1234;
    for (auto _ : state) {
        Renew(number);
        log(number, "gable");
    }
}

#define KIV_BENCH_LOG(Candidate, name)                                                    \
    BENCHMARK(Log<Candidate, &Candidate::Below>)->Name("log: below the threshold/" name); \
    BENCHMARK(Log<Candidate, &Candidate::Line>)->Name("log: a line to a file/" name);     \
    BENCHMARK(Log<Candidate, &Candidate::Line>)                                           \
        ->Name("log: a line to a file, two threads/" name)                                \
        ->Threads(2)                                                                      \
        ->UseRealTime()

KIV_BENCH_LOG(Kiv, "kiv");
KIV_BENCH_LOG(Spdlog, "spdlog");
KIV_BENCH_LOG(Glog, "glog");

}  // namespace
