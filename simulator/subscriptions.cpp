#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"

namespace sim {

using namespace platform;

namespace {

constexpr struct {
    unsigned int number;
    unsigned int itemId;  ///< message number of the records under it
} all[] = {
    {subscriptions::everyRegionData, messages::regionDataItem},
    {subscriptions::regionDataHd, messages::regionDataItem},
    {subscriptions::regionDataSd, messages::regionDataItem},
    {subscriptions::regionDataCif, messages::regionDataItem},
    {subscriptions::regionDataOther, messages::regionDataItem},
    {subscriptions::regionVisibility, messages::regionVisItem},
    {subscriptions::palette, messages::paletteItem},
};

/// A bit for each number that \p number covers; none when there is no such subscription.
unsigned int CoveredBy(unsigned int number)
{
    unsigned int bits = 0;
    for (const auto& other : all) {
        bits |= subscriptions::Covers(number, other.number) ? 1u << other.number : 0;
    }
    return bits;
}

}  // namespace

bool Subscriptions::Add(unsigned int number, unsigned int itemId)
{
    for (const auto& one : all) {
        if (one.number == number && one.itemId == itemId) {
            Hold(held | 1u << number);
            return true;
        }
    }
    return false;
}

bool Subscriptions::Remove(unsigned int number)
{
    Hold(held & ~CoveredBy(number));
    return Exists(number);
}

bool Subscriptions::Exists(unsigned int number) { return CoveredBy(number) != 0; }

void Subscriptions::Hold(unsigned int numbers)
{
    held = numbers;
    covered = 0;
    for (const auto& one : all) {
        covered |= (held >> one.number & 1) != 0 ? CoveredBy(one.number) : 0;
    }
}

}  // namespace sim
