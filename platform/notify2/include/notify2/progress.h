#pragma once
/// Progress and cancellation of a long operation. The caller implements it and owns the object; the
/// operation calls it on the thread that it runs on.

#include "basekit2/export.h"

namespace notify2 {

class BASEKIT2_API IProgress {
public:
    /// The operation begins; `total` is the work that is expected, in bytes for a copy.
    virtual void start(const char* message, double total) = 0;
    /// `amount` of work has been done since the last call.
    virtual void advance(double amount) = 0;
    /// The full path of what is worked on next. Valid during the call.
    virtual void setCurrentItem(const char* path) = 0;
    /// Called once at the end, after success and after failure.
    virtual void finish() = 0;
    /// True when the operation should stop as soon as it can.
    virtual bool isCancelled() = 0;

    virtual ~IProgress() = default;
    IProgress(const IProgress&) = delete;
    IProgress& operator=(const IProgress&) = delete;

protected:
    IProgress() = default;
};

}  // namespace notify2
