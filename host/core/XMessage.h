#pragma once

#include <memory>

class XSpeaker;

// Something a speaker tells its listeners. Messages are plain values: derived messages (nested in
// their speaker's class) add fields and override Clone so that a listener can keep a copy.
class XMessage
{
public:
    explicit XMessage(const XSpeaker* inSpeaker = nullptr) : itsSpeaker(inSpeaker) {}
    virtual ~XMessage() = default;

    virtual std::unique_ptr<XMessage> Clone() const;
    // The speaker that made the message; only an identity, it may be gone by the time a copy is
    // read.
    const XSpeaker* GetSpeaker() const { return itsSpeaker; }

protected:
    XMessage(const XMessage&) = default;
    XMessage& operator=(const XMessage&) = default;

private:
    const XSpeaker* itsSpeaker;
};
