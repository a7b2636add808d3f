#pragma once

namespace sim {

/// Message number of the records that the subscription \p number brings; 0 when the service has no
/// such subscription.
unsigned int ItemOf(unsigned int number);

/// The subscriptions that one peer holds.
class Subscriptions {
public:
    /// \return whether there is such a subscription and \p itemId is the record it brings
    bool Add(unsigned int number, unsigned int itemId);

    /// Removes every subscription that \p number covers, held or not.
    /// \return whether there is a subscription of that number
    bool Remove(unsigned int number);

    void Clear() { held = 0; }

    /// Whether what is published under \p number goes to this peer; ItemOf(number) is not 0.
    bool Include(unsigned int number) const;

private:
    unsigned int held = 0;  ///< a bit for each number
};

}  // namespace sim
