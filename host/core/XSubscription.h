#pragma once

#include <atomic>
#include <mutex>

class XListener;
class XMessage;
class XSpeaker;

// The link between one speaker and one listener, shared by both. Neither side ever touches the
// other object directly: the speaker delivers through the link, and whichever side goes first
// cuts it. Cutting waits for a delivery in progress on another thread, so once Cut returns the
// listener is never called through this link again.
class XSubscription
{
public:
    XSubscription(const XSpeaker* inSpeaker, XListener* inListener)
        : itsSpeaker(inSpeaker), itsListener(inListener)
    {
    }
    XSubscription(const XSubscription&) = delete;
    XSubscription& operator=(const XSubscription&) = delete;

    // Calls the listener's HandleMessage unless the link is cut; the call lock is held meanwhile.
    void Deliver(const XMessage& inMessage);
    void Cut();
    bool IsCut() const { return itsCut.load(); }
    // Only an identity for the listener's bookkeeping; never dereferenced.
    const XSpeaker* GetSpeaker() const { return itsSpeaker; }

private:
    // Recursive, so that a listener can unsubscribe, or be destroyed, inside its own
    // HandleMessage, and a handler may make its speaker speak again.
    std::recursive_mutex itsCallMutex;
    const XSpeaker* const itsSpeaker;
    XListener* itsListener; // null once cut
    // Readable without the call lock, so that bookkeeping never waits for a delivery.
    std::atomic<bool> itsCut{false};
};
