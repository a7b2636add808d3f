#include <LinxServerNameList.h>

#include <new>

LinxServerNameList::LinxServerNameList() : subtitleMgr("SubtitleMgr") {}

LinxServerNameList& LinxServerNameList::Instance()
{
    alignas(LinxServerNameList) static unsigned char place[sizeof(LinxServerNameList)];
    static LinxServerNameList& list = *new (place) LinxServerNameList;
    return list;
}

const std::string& LinxServerNameList::Name(e_Process process) const
{
    return process == e_ProcessSubtitleMgr ? subtitleMgr : unknown;
}
