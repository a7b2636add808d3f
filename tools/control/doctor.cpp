#include "control/doctor.h"

#include "control/service.h"
#include "platform/src/messaging_directory.h"
#include "recording/json_text.h"
#include "words/exit_status.h"

#include <algorithm>

namespace control {

namespace {

std::string AsJson(const std::vector<Finding>& findings, bool isHealthy)
{
    std::string json = std::string("{\"ok\":") + (isHealthy ? "true" : "false") + ",\"findings\":[";
    for (const Finding& finding : findings) {
        json += &finding == findings.data() ? "{\"check\":" : ",{\"check\":";
        recording::AppendQuoted(json, finding.check);
        json += finding.repair.empty() ? ",\"ok\":true,\"text\":" : ",\"ok\":false,\"text\":";
        recording::AppendQuoted(json, finding.text);
        if (!finding.repair.empty()) {
            json += ",\"repair\":";
            recording::AppendQuoted(json, finding.repair);
        }
        json += "}";
    }
    return json + "]}\n";
}

std::string AsText(const std::vector<Finding>& findings)
{
    std::string text;
    for (const Finding& finding : findings) {
        text += (finding.repair.empty() ? "ok: " : "problem: ") + finding.text +
                (finding.repair.empty() ? "" : "; repair: " + finding.repair) + "\n";
    }
    return text;
}

}  // namespace

int Doctor(const Options& options)
{
    platform::MessagingDirectory directory;
    std::vector<Finding> findings{ExamineDirectory(directory)};
    if (directory.Fd() >= 0) {
        for (Finding& finding : ExamineService(directory, options)) {
            findings.push_back(std::move(finding));
        }
    }
    findings.push_back(ExamineLog());
    const bool isHealthy = std::all_of(findings.begin(), findings.end(),
                                       [](const Finding& found) { return found.repair.empty(); });
    const int printed = Print(options.json ? AsJson(findings, isHealthy) : AsText(findings));
    return isHealthy ? printed : words::exitFailed;
}

}  // namespace control
