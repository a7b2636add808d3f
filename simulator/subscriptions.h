#pragma once

namespace sim {

/// The subscriptions that one peer holds.
class Subscriptions {
public:
    /// \return whether there is such a subscription and \p itemId is the record it brings
    bool Add(unsigned int number, unsigned int itemId);

    /// Removes every subscription that \p number covers, held or not.
    /// \return whether there is a subscription of that number
    bool Remove(unsigned int number);

    void Clear() { held = covered = 0; }

    /// Whether what is published under \p number, one that exists, goes to this peer.
    bool Include(unsigned int number) const { return (covered >> number & 1) != 0; }

    /// Whether \p number is one of the service's subscriptions.
    static bool Exists(unsigned int number);

private:
    void Hold(unsigned int numbers);

    unsigned int held = 0;     ///< a bit for each number
    unsigned int covered = 0;  ///< a bit for each number that the held ones cover
};

}  // namespace sim
