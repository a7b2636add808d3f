#pragma once

class Item;
class LinxIpc;

/// Fills \p record from the notification that \p ipc has just received.
///
/// For use inside a notification callback alone: before and after it there is no message to read.
/// The type of \p record must be the one that was subscribed for. Throws std::bad_alloc when there
/// is no memory for the bytes.
void DecodeReceived(LinxIpc& ipc, Item& record);
