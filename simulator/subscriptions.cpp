#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"

namespace sim {

using namespace platform;

namespace {

constexpr unsigned int Bit(unsigned int number) { return 1u << number; }

constexpr unsigned int regionDataBits =
    Bit(subscriptions::regionDataHd) | Bit(subscriptions::regionDataSd) |
    Bit(subscriptions::regionDataCif) | Bit(subscriptions::regionDataOther);

/// Message number of the records under a subscription, 0 when there is no such subscription.
unsigned int ItemOf(unsigned int number)
{
    switch (number) {
    case subscriptions::everyRegionData:
    case subscriptions::regionDataHd:
    case subscriptions::regionDataSd:
    case subscriptions::regionDataCif:
    case subscriptions::regionDataOther: return messages::regionDataItem;
    case subscriptions::regionVisibility: return messages::regionVisItem;
    case subscriptions::palette: return messages::paletteItem;
    default: return 0;
    }
}

}  // namespace

bool Subscriptions::Add(unsigned int number, unsigned int itemId)
{
    if (!Exists(number) || ItemOf(number) != itemId) {
        return false;
    }
    held |= Bit(number);
    return true;
}

bool Subscriptions::Remove(unsigned int number)
{
    if (!Exists(number)) {
        return false;
    }
    held &= ~Bit(number);
    if (number == subscriptions::everyRegionData) {
        held &= ~regionDataBits;
    }
    return true;
}

bool Subscriptions::Include(unsigned int number) const
{
    return (held & Bit(number)) != 0 || ((held & Bit(subscriptions::everyRegionData)) != 0 &&
                                         (Bit(number) & regionDataBits) != 0);
}

bool Subscriptions::Exists(unsigned int number) { return ItemOf(number) != 0; }

}  // namespace sim
