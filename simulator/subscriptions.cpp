#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"

namespace sim {

using namespace platform;
using subscriptions::everyRegionData;

namespace {

constexpr unsigned int Bit(unsigned int number) { return 1u << number; }

}  // namespace

unsigned int ItemOf(unsigned int number)
{
    if (subscriptions::Covers(everyRegionData, number)) {
        return messages::regionDataItem;
    }
    return number == subscriptions::regionVisibility ? messages::regionVisItem
           : number == subscriptions::palette        ? messages::paletteItem
                                                     : 0;
}

bool Subscriptions::Add(unsigned int number, unsigned int itemId)
{
    const bool exists = itemId != 0 && itemId == ItemOf(number);
    held |= exists ? Bit(number) : 0;
    return exists;
}

bool Subscriptions::Remove(unsigned int number)
{
    for (unsigned int one = 0; one < 32; ++one) {
        held &= subscriptions::Covers(number, one) ? ~Bit(one) : ~0u;
    }
    return ItemOf(number) != 0;
}

bool Subscriptions::Include(unsigned int number) const
{
    const bool isRegionData = subscriptions::Covers(everyRegionData, number);
    return (held & (Bit(number) | (isRegionData ? Bit(everyRegionData) : 0))) != 0;
}

}  // namespace sim
