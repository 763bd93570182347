// One line that tells on a terminal what a long run is doing, and goes away with its object. Where
// the error output is no terminal, or nobody wants it, nothing is printed.
#ifndef CATALOGUE_PROGRESS_H_
#define CATALOGUE_PROGRESS_H_

#include <chrono>

#include "kiv/base/integers.h"

namespace catalogue {

class Progress {
public:
    explicit Progress(bool wanted = true);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { Clear(); }

    /// Cheap enough for every step of a loop: rewrites the line some times a second.
    void Count(const char* step, kiv::uint64 count);
    /// For a step that says nothing more until it is done.
    void Begin(const char* step);
    /// Removes the line, so that something else can be printed.
    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    const bool enabled_;
    bool shown_ = false;
    Clock::time_point due_ = Clock::now();
};

}  // namespace catalogue

#endif  // CATALOGUE_PROGRESS_H_
