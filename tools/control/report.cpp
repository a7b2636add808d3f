#include "control/report.h"

#include "control/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>

namespace control {

namespace {

/// A text or number for a terminal: without control characters.
std::string Scalar(const Value& value)
{
    std::string text = value.text;
    if (value.type == Value::Type::Flag) {
        return value.IsTrue() ? "yes" : "no";
    }
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
    return text;
}

/// The name of a field as words: "positionUs" -> "position", "backlogBytes" -> "backlog bytes".
std::string Label(std::string name, bool isTime)
{
    name.resize(name.size() - (isTime ? 2 : 0));
    std::string label;
    for (const char c : name) {
        const bool isCapital = c >= 'A' && c <= 'Z';
        label += isCapital ? std::string{' ', static_cast<char>(c - 'A' + 'a')} : std::string(1, c);
    }
    return label;
}

std::string Words(const Value& value);

/// The name and value of a field with \p between them.
std::string Entry(const Field& field, const char* between)
{
    const std::string& name = field.name;
    const bool isTime = field.value.type == Value::Type::Number && name.size() > 2 &&
                        name.compare(name.size() - 2, 2, "Us") == 0;
    return Label(name, isTime) + between +
           (isTime ? Seconds(field.value.Number()) : Words(field.value));
}

/// A value of any type on one line.
std::string Words(const Value& value)
{
    std::string text;
    for (const Value& item : value.items) {
        text += (text.empty() ? "" : ", ") + Words(item);
    }
    for (const Field& field : value.fields) {
        text += (text.empty() ? "" : ", ") + Entry(field, " ");
    }
    const bool isEmpty =
        text.empty() && (value.type == Value::Type::Array || value.type == Value::Type::Object);
    return isEmpty || value.type == Value::Type::Null ? "none" : text + Scalar(value);
}

/// A line for a field; one for each object of an array.
std::string Lines(const Field& field)
{
    std::string text;
    for (const Value& item : field.value.items) {
        if (item.type == Value::Type::Object) {
            text += Label(field.name, false) + ": " + Words(item) + "\n";
        }
    }
    return text.empty() ? Entry(field, ": ") + "\n" : text;
}

std::string SensorLine(const Value& sensors)
{
    constexpr const char* names[] = {"Brakes", "Lights", "Siren", "Aux", "Crash", "Mics"};
    std::string on;
    for (std::size_t i = 0; i < std::min(sensors.items.size(), std::size(names)); ++i) {
        if (sensors.items[i].IsTrue()) {
            on += (on.empty() ? "" : ", ") + std::string(names[i]);
        }
    }
    return "sensors on: " + (on.empty() ? "none" : on) + "\n";
}

std::string FormatWord(const Value& bitmap)
{
    constexpr const char* names[] = {"hd", "sd", "cif"};
    const Value& format = bitmap["subtitleFormat"];
    return format.Number() < std::size(names) ? names[format.Number()] : "format " + Scalar(format);
}

std::string BitmapsCell(const Value& region)
{
    std::string cell;
    for (const Value& bitmap : region["bitmaps"].items) {
        cell += (cell.empty() ? "" : ", ") + FormatWord(bitmap) + " " + Scalar(bitmap["size"]) +
                " (" + Scalar(bitmap["crc32"]) + ")";
    }
    return cell.empty() ? "-" : cell;
}

std::string PaletteCell(const Value& region)
{
    const Value& palette = region["palette"];
    return palette.type != Value::Type::Object
               ? "-"
               : Scalar(palette["size"]) + " (" + Scalar(palette["crc32"]) + ") " +
                     (palette["fill"].IsTrue() ? "fill" : "nofill") + " background " +
                     Scalar(palette["backgroundCode"]);
}

std::string ShownCell(const Value& region)
{
    return !region.Has("visible") ? "-" : region["visible"].IsTrue() ? "visible" : "hidden";
}

/// How much a counter grows in a second; "-" when that is not known.
std::string Rate(const Value& now, const Value& then, double seconds)
{
    if (then.type != Value::Type::Number || now.Number() < then.Number()) {
        return "-";
    }
    const double rate = static_cast<double>(now.Number() - then.Number()) / seconds;
    return std::to_string(std::llround(rate));
}

const Value& RegionOf(const Value& state, const std::string& regionId)
{
    static const Value none;
    for (const Value& region : state["regions"].items) {
        if (region["regionId"].text == regionId) {
            return region;
        }
    }
    return none;
}

}  // namespace

std::string Seconds(std::uint64_t us)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.3f", static_cast<double>(us) / 1e6);
    return text + std::string(" s");
}

std::string ErrorOf(const Value& answer)
{
    return answer.Has("error") ? Scalar(answer["error"]) : "refused";
}

std::string FieldLines(const Value& answer)
{
    std::string text;
    for (const Field& field : answer.fields) {
        text += field.name == "ok" ? "" : Lines(field);
    }
    return text;
}

std::string OtherLines(const Value& state)
{
    std::string text;
    for (const Field& field : state.fields) {
        const std::string& name = field.name;
        if (name == "sensors") {
            text += SensorLine(field.value);
        } else if (name != "ok" && name != "counters" && name != "regions" && name != "clients") {
            text += Lines(field);
        }
    }
    return text;
}

std::string StateReport(const Value& state)
{
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    return CounterLine(state, {}) + OtherLines(state) + "\n" + RegionTable(state, {}, all) + "\n" +
           ClientTable(state, all);
}

std::string CounterLine(const Value& state, const Before& before)
{
    std::string text = "counters: ";
    for (const Field& counter : state["counters"].fields) {
        text += (&counter == state["counters"].fields.data() ? "" : ", ") + counter.name + " " +
                Scalar(counter.value);
        if (before.state.type == Value::Type::Object) {
            const Value& then = before.state["counters"][counter.name];
            text += " (" + Rate(counter.value, then, before.seconds) + "/s)";
        }
    }
    return text + "\n";
}

std::string RegionTable(const Value& state, const Before& before, std::size_t most)
{
    const bool hasRates = before.state.type == Value::Type::Object;
    TextTable table(
        hasRates ? TextTable::Row{"REGION", "SHOWN", "MESSAGES", "/S", "BYTES", "/S", "PALETTE",
                                  "BITMAPS"}
                 : TextTable::Row{"REGION", "SHOWN", "MESSAGES", "BYTES", "PALETTE", "BITMAPS"});
    for (const Value& region : state["regions"].items) {
        TextTable::Row row{Scalar(region["regionId"]), ShownCell(region)};
        const Value& then = RegionOf(before.state, region["regionId"].text);
        for (const char* counter : {"publications", "bytes"}) {
            row.push_back(Scalar(region[counter]));
            if (hasRates) {
                row.push_back(Rate(region[counter], then[counter], before.seconds));
            }
        }
        row.insert(row.end(), {PaletteCell(region), BitmapsCell(region)});
        table.Add(std::move(row));
    }
    return table.Text(most);
}

std::string ClientTable(const Value& state, std::size_t most)
{
    TextTable table({"CLIENT", "BACKLOG", "BYTES", "LOST", "STALLED", "SUBSCRIPTIONS"});
    for (const Value& client : state["clients"].items) {
        table.Add({Scalar(client["client"]), Scalar(client["backlog"]),
                   Scalar(client["backlogBytes"]), Scalar(client["lost"]),
                   Scalar(client["stalled"]), Words(client["subscriptions"])});
    }
    return table.Text(most);
}

}  // namespace control
