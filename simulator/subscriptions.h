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

    void Clear() { held = 0; }

    /// Whether what is published under \p number goes to this peer.
    bool Include(unsigned int number) const;

    /// Whether \p number is one of the service's subscriptions.
    static bool Exists(unsigned int number);

private:
    unsigned int held = 0;  ///< a bit for each number
};

}  // namespace sim
