#pragma once
/// Progress and cancellation of a long operation.
///
/// The operation calls the object on the thread that it was called on, and on no other, also when
/// it has more threads.

#include "basekit2/export.h"

namespace notify2 {

/// Implemented by the caller, who owns the object. Lifetime: it must outlive the operation.
class BASEKIT2_API IProgress {
public:
    /// The operation begins. Units: `total` is the work that is expected, in bytes for a copy.
    /// Lifetime: `message` is valid during the call.
    virtual void start(const char* message, double total) = 0;
    /// Work has been done since the last call. Units: those of `total`.
    virtual void advance(double amount) = 0;
    /// `path` is worked on next, a full path; what other threads work on is told when it is done.
    /// Lifetime: valid during the call.
    virtual void setCurrentItem(const char* path) = 0;
    /// Called once at the end, after success and after failure.
    virtual void finish() = 0;
    /// Asked between steps, and within long ones.
    /// Returns: true when the operation should stop as soon as it can.
    virtual bool isCancelled() = 0;

    virtual ~IProgress() = default;
    IProgress(const IProgress&) = delete;
    IProgress& operator=(const IProgress&) = delete;

protected:
    IProgress() = default;
};

}  // namespace notify2
