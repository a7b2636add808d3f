#pragma once

#include "simulator/line_parser.h"

#include "recording/json_text.h"

#include <string>
#include <string_view>

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

/// The answer to a line that \p parser has refused.
inline std::string RefusedBy(const LineParser& parser)
{
    std::string reasons;
    for (const LineMistake& mistake : parser.Mistakes()) {
        reasons += (reasons.empty() ? "" : "; ") + mistake.reason;
    }
    return Failed(reasons);
}

}  // namespace sim
