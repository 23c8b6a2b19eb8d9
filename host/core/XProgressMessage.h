#pragma once

#include "host/core/XMessage.h"

#include <cstdint>
#include <string>

// The state of one progress: its text, its whole percent (0 to 100) and whether it has ended.
// The id tells apart progresses that run at the same time; the delay is how long the operation
// should have lasted before a display bothers to show it.
class XProgressMessage : public XMessage
{
public:
    XProgressMessage(const XSpeaker* inSpeaker, std::uint64_t inProgressID, std::string inText,
                     std::int32_t inPercent, bool inDone, std::int32_t inDelayMilliseconds);

    std::unique_ptr<XMessage> Clone() const override;

    std::uint64_t GetProgressID() const { return itsProgressID; }
    const std::string& GetText() const { return itsText; }
    std::int32_t GetPercent() const { return itsPercent; }
    bool IsDone() const { return itsDone; }
    std::int32_t GetDelayMilliseconds() const { return itsDelayMilliseconds; }

private:
    std::uint64_t itsProgressID;
    std::string itsText;
    std::int32_t itsPercent;
    bool itsDone;
    std::int32_t itsDelayMilliseconds;
};
