#pragma once

class Item;
class LinxIpc;

class SubscribeClient {
public:
    int Subscribe(unsigned subscription, unsigned itemId, Item& item,
                  void (*callback)(LinxIpc*, void*), void* userData);
    int Unsubscribe(unsigned subscription);
};
