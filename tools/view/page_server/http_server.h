#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <variant>

struct MHD_Connection;
struct MHD_Daemon;

namespace view {

/// A request with the method GET or HEAD.
class HttpRequest {
public:
    HttpRequest(std::string_view pathOfUrl, MHD_Connection* connectionOfRequest)
        : path(pathOfUrl), connection(connectionOfRequest)
    {
    }

    /// A number of the query. \return whether it is there, and at most \p largest
    bool GetNumber(const char* name, std::uint64_t largest, std::uint64_t& number) const;

    const std::string_view path;

private:
    MHD_Connection* connection;
};

/// A body that is made while it is sent. The thread of its connection runs and destroys it.
class HttpStream {
public:
    static constexpr std::uint64_t unknownSize = ~std::uint64_t{0};

    virtual ~HttpStream() = default;
    virtual std::uint64_t Size() const { return unknownSize; }

    /// \param position  the bytes that were read so far
    /// \return how many bytes were read, at least 1; 0 at the end; negative after a failure
    virtual ssize_t Read(char* room, std::size_t size, std::uint64_t position) = 0;
};

struct HttpAnswer {
    unsigned int status;
    const char* type;
    /// A text has to outlive the server.
    std::variant<std::string_view, std::unique_ptr<HttpStream>> body;
};

HttpAnswer Refusal(unsigned int status, std::string_view reason);

/// Serves HTTP on a port of the loopback address, with a thread for each connection.
///
/// Answers to GET and HEAD alone, and only if the request's Host is a loopback name. Streams that
/// wait have to end before the destructor is called.
class HttpServer {
public:
    /// May be called on several threads at a time.
    using Respond = std::function<HttpAnswer(const HttpRequest&)>;

    /// \param port  0 for a free one
    HttpServer(unsigned int portToUse, Respond respondToUse);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Why it does not run; empty if it runs.
    const std::string& Problem() const { return problem; }
    unsigned int Port() const { return port; }

private:
    Respond respond;
    unsigned int port;
    std::string problem;
    MHD_Daemon* daemon;
};

}  // namespace view
