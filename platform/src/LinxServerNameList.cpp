#include <LinxServerNameList.h>

LinxServerNameList::LinxServerNameList() : subtitleMgr("SubtitleMgr") {}

LinxServerNameList& LinxServerNameList::Instance()
{
    static LinxServerNameList& list = *new LinxServerNameList;
    return list;
}

const std::string& LinxServerNameList::Name(e_Process process) const
{
    return process == e_ProcessSubtitleMgr ? subtitleMgr : unknown;
}
