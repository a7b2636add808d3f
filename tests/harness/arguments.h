#pragma once

#include <string>
#include <utility>
#include <vector>

/// A command line as main() gets it.
class Arguments {
public:
    explicit Arguments(std::vector<std::string> given) : words(std::move(given))
    {
        for (std::string& word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    int Count() const { return static_cast<int>(words.size()); }
    char** Words() { return pointers.data(); }

private:
    std::vector<std::string> words;
    std::vector<char*> pointers;
};
