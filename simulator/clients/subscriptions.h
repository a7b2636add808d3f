#pragma once

#include "platform/src/wire_format.h"

namespace sim {

/// Message number of the records that subscription \p number brings; 0 when there is none.
constexpr unsigned int ItemOf(unsigned int number)
{
    namespace numbers = platform::subscriptions;
    namespace items = platform::messages;
    return numbers::Covers(numbers::everyRegionData, number) ? items::regionDataItem
           : number == numbers::regionVisibility             ? items::regionVisItem
           : number == numbers::palette                      ? items::paletteItem
                                                             : 0;
}

/// The subscriptions that one peer holds.
class Subscriptions {
public:
    /// \return whether there is such a subscription and \p itemId is the record it brings
    bool Add(unsigned int number, unsigned int itemId)
    {
        const bool exists = itemId != 0 && itemId == ItemOf(number);
        held |= exists ? Bit(number) : 0;
        return exists;
    }

    /// Removes every subscription that \p number covers, held or not.
    /// \return whether there is a subscription of that number
    bool Remove(unsigned int number)
    {
        for (unsigned int one = 0; one < 32; ++one) {
            held &= platform::subscriptions::Covers(number, one) ? ~Bit(one) : ~0u;
        }
        return ItemOf(number) != 0;
    }

    void Clear() { held = 0; }

    bool Holds(unsigned int number) const { return (held & Bit(number)) != 0; }

    /// Whether what is published under \p number goes to this peer; ItemOf(number) is not 0.
    bool Include(unsigned int number) const
    {
        const bool isRegionData = ItemOf(number) == platform::messages::regionDataItem;
        const unsigned int all = isRegionData ? platform::subscriptions::everyRegionData : number;
        return (held & (Bit(number) | Bit(all))) != 0;
    }

private:
    static constexpr unsigned int Bit(unsigned int number) { return 1u << number; }

    unsigned int held = 0;  ///< a bit for each number
};

}  // namespace sim
