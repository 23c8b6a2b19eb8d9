#pragma once

#include "host/core/XMessage.h"

#include <cstdint>
#include <memory>
#include <string>

class XNetJobResult;

// Spoken by a job queue, on its delivery thread, once for every job that finished (and was not
// deleted): the job's id and its result, if it stored one. A job that failed carries no result
// and the reason in GetFailure.
class XNetJobCompletedMessage : public XMessage
{
public:
    XNetJobCompletedMessage(const XSpeaker* inSpeaker, std::uint32_t inJobID,
                            std::unique_ptr<XNetJobResult> inResult, std::string inFailure);
    ~XNetJobCompletedMessage() override;

    std::unique_ptr<XMessage> Clone() const override;

    std::uint32_t GetJobID() const { return itsJobID; }
    // A new copy of the result (null when there is none); the receiver owns it.
    std::unique_ptr<XNetJobResult> GetResultCopy() const;
    bool HasResult() const { return itsResult != nullptr; }
    // Empty when the job ran to its end; otherwise why it did not.
    const std::string& GetFailure() const { return itsFailure; }

private:
    XNetJobCompletedMessage(const XNetJobCompletedMessage& inMessage);

    std::uint32_t itsJobID;
    std::unique_ptr<XNetJobResult> itsResult;
    std::string itsFailure;
};
