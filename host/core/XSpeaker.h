#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

class XMessage;
class XSubscription;

// Tells its subscribed listeners about messages, synchronously, on the speaking thread, in the
// order the listeners subscribed.
//
// Locking: the speaker's own lock only guards its list of subscriptions and is never held while
// a listener runs. Each speaker-listener pair has a recursive call lock held while that
// listener handles a message. So several threads may speak at once (one listener hears one
// speaker's messages one at a time), and a listener may unsubscribe or subscribe from inside
// HandleMessage. Unsubscribing or destroying a listener waits for a delivery to it in progress
// on another thread; never do that while holding a lock that the listener's HandleMessage
// takes (being inside another of its HandleMessage calls counts as holding one). A listener that
// subscribes during a speak hears the next message, not the current one.
class XSpeaker
{
public:
    XSpeaker();
    // Detaches from every listener; the listeners are not told.
    virtual ~XSpeaker();
    XSpeaker(const XSpeaker&) = delete;
    XSpeaker& operator=(const XSpeaker&) = delete;

    // The flag is the host's "post" argument (callers pass false); delivery is always
    // synchronous here.
    void SpeakMessage(const XMessage& inMessage, bool inFlag = false);
    std::size_t GetListenerCount() const;

private:
    friend class XListener;
    void AddSubscription(std::shared_ptr<XSubscription> inSubscription);
    // Drops links cut by listeners; called under the lock.
    void PruneCutSubscriptions();

    mutable std::mutex itsMutex;
    std::vector<std::shared_ptr<XSubscription>> itsSubscriptions;
};
