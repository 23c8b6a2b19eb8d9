#pragma once

#include <memory>
#include <mutex>
#include <vector>

class XMessage;
class XSpeaker;
class XSubscription;

// Hears the messages of the speakers it subscribes to, through HandleMessage (see XSpeaker for
// the threads and locks involved). Destroying a listener unsubscribes it from every speaker, but
// the base destructor runs after the derived members are gone: a derived listener that speakers
// may call from other threads while it is destroyed calls UnsubscribeAll in its own destructor.
class XListener
{
public:
    XListener();
    virtual ~XListener();
    XListener(const XListener&) = delete;
    XListener& operator=(const XListener&) = delete;

    // Subscribing twice to the same speaker subscribes once.
    void Subscribe(XSpeaker& inSpeaker);
    // Waits for a delivery in progress on another thread; unknown speakers are ignored.
    void Unsubscribe(XSpeaker& inSpeaker);
    void UnsubscribeAll();
    bool IsSubscribed(const XSpeaker& inSpeaker) const;

    // Called by the speakers; the default ignores the message.
    virtual void HandleMessage(const XMessage& inMessage);

private:
    // Drops links cut by speakers that have gone; called under the lock.
    void PruneCutSubscriptions();

    mutable std::mutex itsMutex;
    std::vector<std::shared_ptr<XSubscription>> itsSubscriptions;
};
