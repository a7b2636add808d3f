#pragma once

#include "simulator/play/line_parser.h"

#include "recording/json_text.h"

#include <string>
#include <string_view>
#include <vector>

/// The answers of the control socket.
namespace sim {

/// \param fields  more members of the object
inline std::string Done(const std::string& fields = "")
{
    return R"({"ok":true)" + (fields.empty() ? "" : "," + fields) + "}";
}

inline std::string Failed(std::string_view error, const char* moreFields = "")
{
    std::string answer = R"({"ok":false,"error":)";
    recording::AppendQuoted(answer, error);
    return answer + moreFields + "}";
}

inline std::string FailedWith(const std::vector<std::string>& mistakes)
{
    std::string reasons;
    for (const std::string& mistake : mistakes) {
        reasons += (reasons.empty() ? "" : "; ") + mistake;
    }
    return Failed(reasons);
}

/// The answer to a line that \p parser has refused.
inline std::string RefusedBy(const LineParser& parser)
{
    std::vector<std::string> reasons;
    for (const LineMistake& mistake : parser.Mistakes()) {
        reasons.push_back(mistake.reason);
    }
    return FailedWith(reasons);
}

}  // namespace sim
