#include "tests/resilience/soak/Publications.h"

#include <LinxIpc.h>
#include <PaletteItem.h>
#include <RegionDataItem.h>
#include <RegionVisItem.h>

namespace {

/// Sixteen bytes with two bits each, which every format keeps unchanged.
std::vector<unsigned char> BytesOf(unsigned mark)
{
    std::vector<unsigned char> bytes;
    for (int digit = 0; digit < 16; ++digit, mark >>= 2) {
        bytes.push_back(static_cast<unsigned char>(mark & 3));
    }
    return bytes;
}

/// There are 28 different records: fourteen regions, visible or hidden.
unsigned char RegionOf(unsigned mark) { return static_cast<unsigned char>(1 + mark / 2 % 14); }
bool IsShown(unsigned mark) { return mark % 2 != 0; }

}  // namespace

bool Publications::Publish(SubtitleClient& client)
{
    RegionDataItem bitmap;
    RegionVisItem visibility;
    PaletteItem palette;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ++mark;
        reached.clear();
        bitmap.data = palette.paletteData = BytesOf(mark);
        visibility.regionId = RegionOf(mark);
        visibility.visible = IsShown(mark);
    }
    bitmap.regionId = palette.regionId = 1;
    return client.SetRegionData(bitmap) == 0 && client.SetRegionVisibility(visibility) == 0 &&
           client.SetPaletteData(palette) == 0;
}

Publications::Reached Publications::ReachedByTheLast()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return reached;
}

unsigned long long Publications::Count()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return count;
}

void (*Publications::CallbackFor(unsigned number))(LinxIpc*, void*)
{
    return number == 6 ? TakeVisibility : number == 10 ? TakePalette : TakeBitmap;
}

unsigned Publications::ItemOf(unsigned number)
{
    return number == 6 ? 15132u : number == 10 ? 15133u : 15129u;
}

void* Publications::UserData(Ledger::Token token)
{
    return reinterpret_cast<void*>(token);  // NOLINT(performance-no-int-to-ptr)
}

Publications& Publications::Instance()
{
    static Publications& publications = *new Publications;
    return publications;
}

void Publications::Note(unsigned number, bool isMarked, void* userData)
{
    ++count;
    if (isMarked) {
        reached[number].insert(reinterpret_cast<Ledger::Token>(userData));
    }
}

void Publications::TakeBitmap(LinxIpc* ipc, void* userData)
{
    RegionDataItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    Publications& self = Instance();
    const std::lock_guard<std::mutex> lock(self.mutex);
    self.Note(2u + item.subtitleFormat, item.data == BytesOf(self.mark), userData);
}

void Publications::TakeVisibility(LinxIpc* ipc, void* userData)
{
    RegionVisItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    Publications& self = Instance();
    const std::lock_guard<std::mutex> lock(self.mutex);
    self.Note(6, item.regionId == RegionOf(self.mark) && item.visible == IsShown(self.mark),
              userData);
}

void Publications::TakePalette(LinxIpc* ipc, void* userData)
{
    PaletteItem item;
    item.Decode(ipc->ReceivedMessage().Payload());
    Publications& self = Instance();
    const std::lock_guard<std::mutex> lock(self.mutex);
    self.Note(10, item.paletteData == BytesOf(self.mark), userData);
}
