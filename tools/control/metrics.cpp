#include "control/metrics.h"

#include "recording/json_text.h"

#include <string_view>

namespace control {

namespace {

struct Metric {
    std::string_view name;  ///< a counter's ends in _total
    const char* help;
    const char* place;  ///< in the state: an object, or an array with a value for each label
    const char* field;  ///< in the place; empty for the number of its items
    const char* label = "";
    const char* labelField = "";
};

constexpr Metric metrics[] = {
    {"subtitle_requests_total", "Requests received.", "counters", "requests"},
    {"subtitle_refused_requests_total", "Requests refused.", "counters", "refused"},
    {"subtitle_publications_total", "Records published.", "counters", "publications"},
    {"subtitle_published_bytes_total", "Bytes of records published.", "counters", "bytes"},
    {"subtitle_clients", "Connected clients.", "clients", ""},
    {"subtitle_faults", "Faults that are on.", "faults", ""},
    {"subtitle_region_publications_total", "Records published for a region.", "regions",
     "publications", "region", "regionId"},
    {"subtitle_region_published_bytes_total", "Bytes of records published for a region.", "regions",
     "bytes", "region", "regionId"},
    {"subtitle_region_visible", "Whether a region is shown.", "regions", "visible", "region",
     "regionId"},
    {"subtitle_client_backlog", "Notifications that wait for a client.", "clients", "backlog",
     "client", "client"},
    {"subtitle_client_backlog_bytes", "Bytes that wait for a client.", "clients", "backlogBytes",
     "client", "client"},
    {"subtitle_client_lost_total", "Notifications that a client has lost.", "clients", "lost",
     "client", "client"},
    {"subtitle_client_stalled", "Whether a client is stalled.", "clients", "stalled", "client",
     "client"},
};

/// The name and value of a label. A string of JSON has the same escapes.
std::string Label(const char* name, const std::string& value)
{
    std::string label = std::string(name) + "=";
    recording::AppendQuoted(label, value);
    return label;
}

std::string Sample(const Metric& metric, const std::string& labels, const Value& value)
{
    if (value.type == Value::Type::Null) {
        return "";
    }
    const std::string number = value.type != Value::Type::Flag ? value.text
                               : value.IsTrue()                ? "1"
                                                               : "0";
    return std::string(metric.name) + "{" + labels + "} " + number + "\n";
}

std::string Samples(const Metric& metric, const std::string& labels, const Value& place)
{
    if (place.type == Value::Type::Object) {
        return Sample(metric, labels, place[metric.field]);
    }
    if (place.type == Value::Type::Array && *metric.field == '\0') {
        const std::string count = std::to_string(place.items.size());
        return Sample(metric, labels, {Value::Type::Number, count, {}, {}});
    }
    std::string text;
    for (const Value& item : place.items) {
        const std::string all = labels + "," + Label(metric.label, item[metric.labelField].text);
        text += Sample(metric, all, item[metric.field]);
    }
    return text;
}

}  // namespace

std::string Metrics(const Value& state, const std::string& service)
{
    constexpr std::string_view ending = "_total";
    const std::string labels = Label("service", service);
    std::string text;
    for (const Metric& metric : metrics) {
        const std::string samples = Samples(metric, labels, state[metric.place]);
        if (samples.empty()) {
            continue;
        }
        const std::string_view name = metric.name;
        const bool isCounter =
            name.size() > ending.size() && name.substr(name.size() - ending.size()) == ending;
        text.append("# HELP ").append(name).append(" ").append(metric.help).append("\n");
        text.append("# TYPE ").append(name).append(isCounter ? " counter\n" : " gauge\n");
        text += samples;
    }
    return text;
}

}  // namespace control
