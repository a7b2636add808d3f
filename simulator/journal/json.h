#pragma once

#include "recording/json_text.h"

#include <string>
#include <string_view>

namespace sim {

/// Builds JSON on one line; puts the commas.
class Json {
public:
    Json& Begin(char bracket)
    {
        Separate();
        text += bracket;
        return *this;
    }
    Json& End(char bracket)
    {
        text += bracket;
        return *this;
    }

    /// The name of the member that is added next.
    Json& Name(std::string_view name)
    {
        Separate();
        text.append("\"").append(name).append("\":");
        return *this;
    }

    Json& Add(bool value) { return AddRaw(value ? "true" : "false"); }
    Json& Add(std::string_view value)
    {
        Separate();
        recording::AppendQuoted(text, value);
        return *this;
    }
    Json& Add(const char* value) { return Add(std::string_view(value)); }
    Json& Add(const std::string& value) { return Add(std::string_view(value)); }
    template <typename Number>
    Json& Add(Number value)
    {
        Separate();
        recording::AppendNumber(text, value);
        return *this;
    }
    Json& AddRaw(std::string_view json)
    {
        Separate();
        text += json;
        return *this;
    }

    const std::string& Text() const { return text; }

private:
    void Separate()
    {
        constexpr std::string_view begins = "{[:";
        if (!text.empty() && begins.find(text.back()) == std::string_view::npos) {
            text += ',';
        }
    }

    std::string text;
};

}  // namespace sim
