#include "host/core/XNetJobCompletedMessage.h"

#include "host/core/XNetJobResult.h"

XNetJobCompletedMessage::XNetJobCompletedMessage(const XSpeaker* inSpeaker, std::uint32_t inJobID,
                                                 std::unique_ptr<XNetJobResult> inResult,
                                                 std::string inFailure)
    : XMessage(inSpeaker), itsJobID(inJobID), itsResult(std::move(inResult)),
      itsFailure(std::move(inFailure))
{
}

XNetJobCompletedMessage::XNetJobCompletedMessage(const XNetJobCompletedMessage& inMessage)
    : XMessage(inMessage), itsJobID(inMessage.itsJobID), itsResult(inMessage.GetResultCopy()),
      itsFailure(inMessage.itsFailure)
{
}

XNetJobCompletedMessage::~XNetJobCompletedMessage() = default;

std::unique_ptr<XMessage> XNetJobCompletedMessage::Clone() const
{
    // The copy constructor is private, so make_unique cannot reach it.
    return std::unique_ptr<XMessage>(new XNetJobCompletedMessage(*this));
}

std::unique_ptr<XNetJobResult> XNetJobCompletedMessage::GetResultCopy() const
{
    return itsResult ? XClone(*itsResult) : nullptr;
}
