#include "records/received_record.h"

#include <Item.h>
#include <LinxIpc.h>

void DecodeReceived(LinxIpc& ipc, Item& record) { record.Decode(ipc.ReceivedMessage().Payload()); }
