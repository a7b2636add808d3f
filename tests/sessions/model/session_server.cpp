#include "tests/sessions/model/session_server.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int orders = 3;
constexpr int results = 4;

using Parts = std::vector<std::string>;

bool ReadAll(char* bytes, std::size_t length)
{
    while (length > 0) {
        const ssize_t count = read(orders, bytes, length);
        if (count <= 0) {
            return false;
        }
        bytes += count;
        length -= static_cast<std::size_t>(count);
    }
    return true;
}

bool ReadNumber(std::size_t& number)
{
    unsigned char bytes[4];
    if (!ReadAll(reinterpret_cast<char*>(bytes), sizeof bytes)) {
        return false;
    }
    number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    return true;
}

bool ReadOrder(Parts& parts)
{
    std::size_t count = 0;
    if (!ReadNumber(count)) {
        return false;
    }
    parts.assign(count, "");
    for (std::string& part : parts) {
        std::size_t length = 0;
        if (!ReadNumber(length)) {
            return false;
        }
        part.resize(length);
        if (!ReadAll(part.data(), length)) {
            return false;
        }
    }
    return true;
}

void AppendNumber(std::string& text, std::size_t number)
{
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        text += static_cast<char>(static_cast<unsigned char>(number >> (shift - 8) & 255));
    }
}

void WriteResult(const Parts& parts)
{
    std::string text;
    AppendNumber(text, parts.size());
    for (const std::string& part : parts) {
        AppendNumber(text, part.size());
        text += part;
    }
    std::size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = write(results, text.data() + sent, text.size() - sent);
        if (count < 0) {
            _exit(1);
        }
        sent += static_cast<std::size_t>(count);
    }
}

int MemoryFile(const std::string& content)
{
    const int file = memfd_create("session", 0);
    if (file < 0 ||
        write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        _exit(1);
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

std::string ContentOf(int file)
{
    std::string content(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t count =
            pread(file, content.data() + done, content.size() - done, static_cast<off_t>(done));
        if (count <= 0) {
            _exit(1);
        }
        done += static_cast<std::size_t>(count);
    }
    close(file);
    return content;
}

struct SessionFiles {
    int keys;
    int output;
    int errors;
    int journal;
    int log;
};

void Limit(const std::string& outputLimit, const std::string& seconds)
{
    const rlim_t bytes = static_cast<rlim_t>(std::strtoul(outputLimit.c_str(), nullptr, 10));
    const rlimit size{bytes, bytes};
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_FSIZE, &size);
    setrlimit(RLIMIT_CORE, &noCore);
    alarm(static_cast<unsigned>(std::strtoul(seconds.c_str(), nullptr, 10)));
}

SessionOrder BecomeSession(const Parts& parts, const SessionFiles& files)
{
    dup2(files.keys, STDIN_FILENO);
    dup2(files.output, STDOUT_FILENO);
    dup2(files.errors, STDERR_FILENO);
    close(files.keys);
    close(files.output);
    close(files.errors);
    close(orders);
    close(results);
    if (chdir(parts[0].c_str()) != 0) {
        _exit(1);
    }
    Limit(parts[1], parts[2]);
    SessionOrder order;
    order.script = parts[3];
    for (std::size_t begin = 0; begin < parts[5].size();) {
        const std::size_t end = std::min(parts[5].find('\0', begin), parts[5].size());
        order.environment.push_back(parts[5].substr(begin, end - begin));
        begin = end + 1;
    }
    order.arguments.assign(parts.begin() + 6, parts.end());
    order.journal = files.journal;
    order.log = files.log;
    return order;
}

}  // namespace

SessionOrder ServeSessions()
{
    Parts parts;
    while (ReadOrder(parts) && parts.size() > 6) {
        const SessionFiles files{MemoryFile(parts[4]), MemoryFile(""), MemoryFile(""),
                                 MemoryFile(""), MemoryFile("")};
        const pid_t child = fork();
        if (child == 0) {
            return BecomeSession(parts, files);
        }
        int status = -1;
        if (child < 0 || waitpid(child, &status, 0) != child) {
            _exit(1);
        }
        close(files.keys);
        WriteResult({std::to_string(status), ContentOf(files.output), ContentOf(files.errors),
                     ContentOf(files.journal), ContentOf(files.log)});
    }
    _exit(0);
}
