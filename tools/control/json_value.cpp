// With recording/line_fields.cpp, the only files that know RapidJSON.

#include "control/json_value.h"

#include <charconv>
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace control {

namespace {

/// Builds a Value from the functions that RapidJSON calls.
class Builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Builder> {
public:
    explicit Builder(Value& root) { open.push_back(&root); }

    bool Null() { return Add(Value::Type::Null, ""); }
    bool Bool(bool flag) { return Add(Value::Type::Flag, flag ? "true" : "false"); }
    bool String(const char* text, rapidjson::SizeType size, bool)
    {
        return Add(Value::Type::Text, {text, size});
    }
    bool RawNumber(const char* text, rapidjson::SizeType size, bool)
    {
        return Add(Value::Type::Number, {text, size});
    }
    bool Key(const char* text, rapidjson::SizeType size, bool)
    {
        open.back()->fields.push_back({{text, size}, {}});
        return true;
    }
    bool StartObject() { return Open(Value::Type::Object); }
    bool StartArray() { return Open(Value::Type::Array); }
    bool EndObject(rapidjson::SizeType) { return Close(); }
    bool EndArray(rapidjson::SizeType) { return Close(); }

private:
    static constexpr std::size_t deepest = 32;

    Value& Place()
    {
        Value& parent = *open.back();
        if (open.size() == 1) {
            return parent;
        }
        return parent.type == Value::Type::Array ? parent.items.emplace_back()
                                                 : parent.fields.back().value;
    }

    bool Add(Value::Type type, std::string_view text)
    {
        Value& value = Place();
        value.type = type;
        value.text = text;
        return true;
    }

    /// The parent grows no more while a value in it is open: the pointer stays valid.
    bool Open(Value::Type type)
    {
        Value& value = Place();
        value.type = type;
        open.push_back(&value);
        return open.size() <= deepest;
    }

    bool Close()
    {
        open.pop_back();
        return true;
    }

    std::vector<Value*> open;  ///< first the root, which all that follows is put into
};

}  // namespace

const Value& Value::operator[](std::string_view name) const
{
    static const Value none;
    for (const Field& field : fields) {
        if (field.name == name) {
            return field.value;
        }
    }
    return none;
}

std::uint64_t Value::Number() const
{
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return type == Type::Number && error == std::errc() && stopped == end ? number : 0;
}

bool ParseObject(const std::string& json, Value& object)
{
    object = Value();
    Builder builder(object);
    rapidjson::StringStream input(json.c_str());
    rapidjson::Reader reader;
    // Without recursion, and numbers as they are written.
    constexpr unsigned int flags = rapidjson::kParseIterativeFlag |
                                   rapidjson::kParseNumbersAsStringsFlag |
                                   rapidjson::kParseValidateEncodingFlag;
    return !reader.Parse<flags>(input, builder).IsError() && input.Tell() == json.size() &&
           object.type == Value::Type::Object;
}

}  // namespace control
