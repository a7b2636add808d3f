#include "simulator/subscriptions.h"

#include "platform/src/wire_format.h"

#include <algorithm>
#include <iterator>

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

constexpr unsigned int Bit(unsigned int number) { return 1u << number; }

}  // namespace

bool Subscriptions::Add(unsigned int number, unsigned int itemId)
{
    for (const auto& one : all) {
        if (one.number == number && one.itemId == itemId) {
            held |= Bit(number);
            return true;
        }
    }
    return false;
}

bool Subscriptions::Remove(unsigned int number)
{
    for (const auto& one : all) {
        held &= subscriptions::Covers(number, one.number) ? ~Bit(one.number) : ~0u;
    }
    return Exists(number);
}

bool Subscriptions::Include(unsigned int number) const
{
    return held != 0 && std::any_of(std::begin(all), std::end(all), [=](const auto& one) {
               return (held & Bit(one.number)) != 0 && subscriptions::Covers(one.number, number);
           });
}

bool Subscriptions::Exists(unsigned int number)
{
    return std::any_of(std::begin(all), std::end(all),
                       [=](const auto& one) { return one.number == number; });
}

}  // namespace sim
