// The one file that knows RapidJSON.

#include "recording/line_fields.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace recording {

const std::array<const char*, LineFields::nameCount> LineFields::names = {
    "monoUs",         "wallUs",   "subtitleRecording",
    "writer",         "service",  "notification",
    "request",        "client",   "subscription",
    "itemId",         "regionId", "subtitleFormat",
    "size",           "crc32",    "data",
    "visible",        "fill",     "on",
    "backgroundCode", "sensor",   "level",
    "result",         "receivers"};

std::size_t LineFields::IndexOf(std::string_view name)
{
    std::size_t i = 0;
    while (i < nameCount && name != names[i]) {
        ++i;
    }
    return i;
}

/// The functions that RapidJSON calls. They keep only the values of the outermost object.
class LineFields::Events : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Events> {
public:
    Events(char* lineToRead, LineFields& fieldsToFill) : line(lineToRead), fields(fieldsToFill) {}

    bool StartObject() { return Open(true); }
    bool StartArray() { return Open(false); }
    bool EndObject(rapidjson::SizeType) { return Close(); }
    bool EndArray(rapidjson::SizeType) { return Close(); }

    bool Key(const char* name, rapidjson::SizeType length, bool)
    {
        if (depth != 1) {
            return true;
        }
        const std::size_t index = IndexOf({name, length});
        value = &fields.values[index];
        const std::size_t column = static_cast<std::size_t>(name - line);
        if (value->type != Type::None && index < nameCount) {
            return Refuse(column, "the field is there twice");
        }
        *value = Value();
        value->column = column;
        return true;
    }

    bool Uint64(std::uint64_t number)
    {
        if (Value* const set = Set(Type::Number)) {
            set->number = number;
        }
        return !refused;
    }
    bool Uint(unsigned int number) { return Uint64(number); }

    bool Bool(bool flag)
    {
        if (Value* const set = Set(Type::Flag)) {
            set->flag = flag;
        }
        return !refused;
    }

    bool String(const char* text, rapidjson::SizeType size, bool)
    {
        if (Value* const set = Set(Type::Text)) {
            set->text = line + (text - line);
            set->size = size;
        }
        return !refused;
    }

    /// All other values: null, numbers that are negative or have a fraction.
    bool Default()
    {
        Set(Type::Other);
        return !refused;
    }

    LineMistake mistake;

private:
    bool Refuse(std::size_t column, const char* reason)
    {
        mistake = {column, reason};
        refused = true;
        return false;
    }

    /// \return the field that gets a value; null below the outermost object
    Value* Set(Type type)
    {
        if (depth == 0) {
            Refuse(1, "not an object");
        }
        if (depth != 1) {
            return nullptr;
        }
        value->type = type;
        return value;
    }

    bool Open(bool isObject)
    {
        constexpr int deepest = 64;
        if (depth == 0 && !isObject) {
            return Refuse(1, "not an object");
        }
        if (depth == 1) {
            value->type = Type::Other;
        }
        ++depth;
        return depth <= deepest || Refuse(value->column, "nested too deeply");
    }

    bool Close()
    {
        --depth;
        return true;
    }

    char* const line;
    LineFields& fields;
    Value* value = nullptr;  ///< of the name that came last
    int depth = 0;
    bool refused = false;
};

bool LineFields::Parse(char* line, std::size_t length, LineMistake& mistake)
{
    values = {};
    Events events(line, *this);
    rapidjson::InsituStringStream stream(line);
    rapidjson::Reader parser;
    constexpr unsigned int flags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag |
                                   rapidjson::kParseValidateEncodingFlag;
    const rapidjson::ParseResult result = parser.Parse<flags>(stream, events);
    if (result.Code() == rapidjson::kParseErrorTermination) {
        mistake = events.mistake;
        return false;
    }
    if (result.IsError()) {
        mistake = {result.Offset() + 1, rapidjson::GetParseError_En(result.Code())};
        return false;
    }
    if (stream.Tell() != length) {
        mistake = {stream.Tell() + 1, "a NUL character"};
        return false;
    }
    return true;
}

bool LineFields::Has(const char* name) const { return Find(name).type != Type::None; }

bool LineFields::Refuse(const char* name, const std::string& reason, LineMistake& mistake) const
{
    mistake = {Find(name).column,
               Has(name) ? std::string(name) + " " + reason : std::string("there is no ") + name};
    return false;
}

bool LineFields::Get(const char* name, std::uint64_t largest, std::uint64_t& number,
                     LineMistake& mistake) const
{
    const Value& value = Find(name);
    number = value.number;
    return (value.type == Type::Number && number <= largest) ||
           Refuse(name, "is not a whole number from 0 to " + std::to_string(largest), mistake);
}

bool LineFields::Get(const char* name, bool& flag, LineMistake& mistake) const
{
    const Value& value = Find(name);
    flag = value.flag;
    return value.type == Type::Flag || Refuse(name, "is not true or false", mistake);
}

bool LineFields::Get(const char* name, char*& text, std::size_t& size, LineMistake& mistake) const
{
    const Value& value = Find(name);
    text = value.text;
    size = value.size;
    return value.type == Type::Text || Refuse(name, "is not a text", mistake);
}

}  // namespace recording
