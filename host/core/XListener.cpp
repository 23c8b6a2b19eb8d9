#include "host/core/XListener.h"

#include "host/core/XSpeaker.h"
#include "host/core/XSubscription.h"

#include <algorithm>

XListener::XListener() = default;

XListener::~XListener()
{
    UnsubscribeAll();
}

void XListener::Subscribe(XSpeaker& inSpeaker)
{
    std::shared_ptr<XSubscription> subscription;
    {
        const std::lock_guard lock(itsMutex);
        PruneCutSubscriptions();
        const bool known =
            std::any_of(itsSubscriptions.begin(), itsSubscriptions.end(),
                        [&](const auto& inLink) { return inLink->GetSpeaker() == &inSpeaker; });
        if (known)
        {
            return;
        }
        subscription = std::make_shared<XSubscription>(&inSpeaker, this);
        itsSubscriptions.push_back(subscription);
    }
    inSpeaker.AddSubscription(std::move(subscription));
}

void XListener::Unsubscribe(XSpeaker& inSpeaker)
{
    std::shared_ptr<XSubscription> subscription;
    {
        const std::lock_guard lock(itsMutex);
        PruneCutSubscriptions();
        const auto found =
            std::find_if(itsSubscriptions.begin(), itsSubscriptions.end(),
                         [&](const auto& inLink) { return inLink->GetSpeaker() == &inSpeaker; });
        if (found == itsSubscriptions.end())
        {
            return;
        }
        subscription = *found;
        itsSubscriptions.erase(found);
    }
    // Outside the lock: cutting may wait for a delivery whose handler needs this listener's lock.
    // The speaker drops the cut link the next time it looks at its list.
    subscription->Cut();
}

void XListener::UnsubscribeAll()
{
    std::vector<std::shared_ptr<XSubscription>> subscriptions;
    {
        const std::lock_guard lock(itsMutex);
        subscriptions.swap(itsSubscriptions);
    }
    for (const auto& subscription : subscriptions)
    {
        subscription->Cut();
    }
}

bool XListener::IsSubscribed(const XSpeaker& inSpeaker) const
{
    const std::lock_guard lock(itsMutex);
    return std::any_of(itsSubscriptions.begin(), itsSubscriptions.end(),
                       [&](const auto& inLink)
                       { return !inLink->IsCut() && inLink->GetSpeaker() == &inSpeaker; });
}

void XListener::HandleMessage(const XMessage& /*inMessage*/) {}

void XListener::PruneCutSubscriptions()
{
    std::erase_if(itsSubscriptions, [](const auto& inLink) { return inLink->IsCut(); });
}
