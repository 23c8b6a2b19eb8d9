#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

// The progress of one long operation, counted in steps. Every change of its text and every new
// whole percent is spoken by XProgressCenter::Get() as an XProgressMessage; the destructor
// speaks a final message marked done. Increment only speaks when the whole percent grows, so
// calling it once per plane or row costs an atomic add and a division.
class XProgress
{
public:
    // The type and the flag are the host's; the type is only reported back, the flag has no
    // effect. The delay travels with the messages (see XProgressMessage).
    explicit XProgress(std::uint64_t inTotalSteps, std::int32_t inType = 3,
                       std::int32_t inDelayMilliseconds = 2000, bool inFlag = false);
    ~XProgress();
    XProgress(const XProgress&) = delete;
    XProgress& operator=(const XProgress&) = delete;

    void SetMessage(std::string inText);
    // Adds steps; the percent is trunc(steps × 100 / total), at most 100 (a progress of no
    // steps stays at 0).
    void Increment(std::uint64_t inSteps = 1);
    // For callers that do not count steps; clamped to 0..100.
    void SetPercent(int inPercent);

    std::int32_t GetPercent() const { return itsPercent.load(std::memory_order_relaxed); }
    std::uint64_t GetTotalSteps() const { return itsTotalSteps; }
    std::int32_t GetType() const { return itsType; }
    std::uint64_t GetID() const { return itsID; }

private:
    std::int32_t PercentOf(std::uint64_t inSteps) const;
    void Speak(std::int32_t inPercent, bool inDone);

    const std::uint64_t itsID;
    const std::uint64_t itsTotalSteps;
    const std::int32_t itsType;
    const std::int32_t itsDelayMilliseconds;
    std::atomic<std::uint64_t> itsSteps{0};
    std::atomic<std::int32_t> itsPercent{0}; // the percent last spoken
    std::mutex itsTextMutex;
    std::string itsText;
};
