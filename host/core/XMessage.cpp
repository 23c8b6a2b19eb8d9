#include "host/core/XMessage.h"

std::unique_ptr<XMessage> XMessage::Clone() const
{
    return std::unique_ptr<XMessage>(new XMessage(*this));
}
