#include "host/core/XProgressMessage.h"

XProgressMessage::XProgressMessage(const XSpeaker* inSpeaker, std::uint64_t inProgressID,
                                   std::string inText, std::int32_t inPercent, bool inDone,
                                   std::int32_t inDelayMilliseconds)
    : XMessage(inSpeaker), itsProgressID(inProgressID), itsText(std::move(inText)),
      itsPercent(inPercent), itsDone(inDone), itsDelayMilliseconds(inDelayMilliseconds)
{
}

std::unique_ptr<XMessage> XProgressMessage::Clone() const
{
    return std::make_unique<XProgressMessage>(*this);
}
