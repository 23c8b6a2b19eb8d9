#include "host/core/XSpeaker.h"

#include "host/core/XSubscription.h"

#include <algorithm>

XSpeaker::XSpeaker() = default;

XSpeaker::~XSpeaker()
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

void XSpeaker::SpeakMessage(const XMessage& inMessage, bool /*inFlag*/)
{
    std::vector<std::shared_ptr<XSubscription>> subscriptions;
    {
        const std::lock_guard lock(itsMutex);
        PruneCutSubscriptions();
        subscriptions = itsSubscriptions;
    }
    for (const auto& subscription : subscriptions)
    {
        subscription->Deliver(inMessage);
    }
}

std::size_t XSpeaker::GetListenerCount() const
{
    const std::lock_guard lock(itsMutex);
    return static_cast<std::size_t>(std::count_if(itsSubscriptions.begin(), itsSubscriptions.end(),
                                                  [](const auto& inSubscription)
                                                  { return !inSubscription->IsCut(); }));
}

void XSpeaker::AddSubscription(std::shared_ptr<XSubscription> inSubscription)
{
    const std::lock_guard lock(itsMutex);
    PruneCutSubscriptions();
    itsSubscriptions.push_back(std::move(inSubscription));
}

void XSpeaker::PruneCutSubscriptions()
{
    std::erase_if(itsSubscriptions,
                  [](const auto& inSubscription) { return inSubscription->IsCut(); });
}
