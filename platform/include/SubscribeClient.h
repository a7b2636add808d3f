#pragma once

#include <string>

class Item;
class LinxIpc;

/// Subscriptions to a service's notifications.
class SubscribeClient {
public:
    /// Asks the service for the notifications numbered \p subscription.
    ///
    /// \param itemId    message number of these notifications, which says what record they carry
    /// \param item      not kept: callbacks decode into records of their own
    /// \param callback  called inside LinxIpc::Receive() on its thread, with the endpoint, whose
    ///                  ReceivedMessage() is the notification, and \p userData
    /// \return 0 when the service accepted. The subscription is renewed with a lost connection and
    ///         outlives this object. Subscribing again replaces callback and user data
    int Subscribe(unsigned subscription, unsigned itemId, Item& item,
                  void (*callback)(LinxIpc*, void*), void* userData);

    /// Ends a subscription: its callback is not called for notifications that are still queued.
    /// Number 1 is region data in every format and ends 2, 3, 4 and 12 with it. If several threads
    /// call, the request that the service answered last decides. \return 0 when the service
    /// confirmed
    int Unsubscribe(unsigned subscription);

protected:
    SubscribeClient(LinxIpc& endpoint, const std::string& service, int requestTimeoutMs);

    LinxIpc& ipc;
    const std::string server;
    const int timeoutMs;
};
