#include "view/page_server/http_server.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <microhttpd.h>
#include <netinet/in.h>
#include <new>
#include <strings.h>
#include <sys/resource.h>

namespace view {

namespace {

constexpr std::size_t blockSize = 32768;
constexpr unsigned int mostConnections = 2048;
constexpr unsigned int idleSeconds = 10;
constexpr std::size_t stackSize = 262144;
/// Above 32 KiB libmicrohttpd maps the memory of a connection, so that its end gives it back.
constexpr std::size_t connectionMemory = 40960;

constexpr const char* headers[][2] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
     "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cache-Control", "no-store"},
};

/// A shell usually allows 1,024, which is less than a thousand idle peers and their page need.
void AllowDescriptors()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        const rlim_t wanted = std::max<rlim_t>(limit.rlim_cur, mostConnections + 64);
        limit.rlim_cur = std::min(limit.rlim_max, wanted);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

using Response = std::unique_ptr<MHD_Response, void (*)(MHD_Response*)>;

bool IsLoopbackName(std::string_view host)
{
    const std::size_t end = host.find(':', host.substr(0, 1) == "[" ? host.find(']') : 0);
    const std::string name(host.substr(0, end));
    const std::string_view port = end < host.size() ? host.substr(end + 1) : "";
    return port.find_first_not_of("0123456789") == std::string_view::npos &&
           (name == "127.0.0.1" || name == "[::1]" || strcasecmp(name.c_str(), "localhost") == 0);
}

struct Hosts {
    unsigned int count = 0;
    bool areLoopback = true;
};

MHD_Result LookAtHeader(void* hosts, MHD_ValueKind, const char* name, const char* value)
{
    if (strcasecmp(name, MHD_HTTP_HEADER_HOST) == 0) {
        Hosts& found = *static_cast<Hosts*>(hosts);
        ++found.count;
        found.areLoopback = found.areLoopback && value && IsLoopbackName(value);
    }
    return MHD_YES;
}

/// Protects against pages of other hosts whose name resolves to the loopback address.
bool IsForLoopback(MHD_Connection* connection)
{
    Hosts hosts;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, LookAtHeader, &hosts);
    return hosts.count == 1 && hosts.areLoopback;
}

ssize_t ReadStream(void* stream, std::uint64_t position, char* room, std::size_t size)
{
    try {
        const ssize_t count = static_cast<HttpStream*>(stream)->Read(room, size, position);
        return count > 0    ? count
               : count == 0 ? ssize_t{MHD_CONTENT_READER_END_OF_STREAM}
                            : ssize_t{MHD_CONTENT_READER_END_WITH_ERROR};
    } catch (const std::bad_alloc&) {
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
}

void DestroyStream(void* stream) { delete static_cast<HttpStream*>(stream); }

Response ResponseOf(HttpAnswer& answer)
{
    if (const auto* const text = std::get_if<std::string_view>(&answer.body)) {
        return {MHD_create_response_from_buffer(text->size(), const_cast<char*>(text->data()),
                                                MHD_RESPMEM_PERSISTENT),
                MHD_destroy_response};
    }
    HttpStream* const stream = std::get<std::unique_ptr<HttpStream>>(answer.body).release();
    Response response(MHD_create_response_from_callback(stream->Size(), blockSize, ReadStream,
                                                        stream, DestroyStream),
                      MHD_destroy_response);
    if (!response) {
        DestroyStream(stream);
    }
    return response;
}

MHD_Result Send(MHD_Connection* connection, HttpAnswer answer)
{
    const Response response = ResponseOf(answer);
    if (!response) {
        return MHD_NO;
    }
    for (const auto& [name, value] : headers) {
        MHD_add_response_header(response.get(), name, value);
    }
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, answer.type);
    if (answer.status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    }
    return MHD_queue_response(connection, answer.status, response.get());
}

MHD_Result Handle(void* respond, MHD_Connection* connection, const char* path, const char* method,
                  const char*, const char*, std::size_t* bodySize, void** progress)
{
    try {
        if (std::strcmp(method, MHD_HTTP_METHOD_GET) != 0 &&
            std::strcmp(method, MHD_HTTP_METHOD_HEAD) != 0) {
            return Send(connection, Refusal(MHD_HTTP_METHOD_NOT_ALLOWED, "only GET and HEAD\n"));
        }
        if (!IsForLoopback(connection)) {
            return Send(connection, Refusal(MHD_HTTP_FORBIDDEN, "Host is no loopback name\n"));
        }
        // A connection stays open if the answer comes after the whole request.
        if (!*progress || *bodySize > 0) {
            *progress = connection;
            *bodySize = 0;
            return MHD_YES;
        }
        return Send(connection, (*static_cast<HttpServer::Respond*>(respond))({path, connection}));
    } catch (const std::bad_alloc&) {
        return MHD_NO;
    }
}

}  // namespace

HttpAnswer Refusal(unsigned int status, std::string_view reason)
{
    return {status, "text/plain; charset=utf-8", reason};
}

bool HttpRequest::GetNumber(const char* name, std::uint64_t largest, std::uint64_t& number) const
{
    const char* const text = MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, name);
    if (!text) {
        return false;
    }
    const char* const end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, number);
    return error == std::errc() && stopped == end && number <= largest;
}

HttpServer::HttpServer(unsigned int portToUse, Respond respondToUse)
    : respond(std::move(respondToUse)), port(portToUse)
{
    AllowDescriptors();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    daemon =
        MHD_start_daemon(MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL_INTERNAL_THREAD | MHD_USE_ITC,
                         0, nullptr, nullptr, Handle, &respond,                        //
                         MHD_OPTION_SOCK_ADDR, reinterpret_cast<sockaddr*>(&address),  //
                         MHD_OPTION_CONNECTION_LIMIT, mostConnections,                 //
                         MHD_OPTION_CONNECTION_TIMEOUT, idleSeconds,                   //
                         MHD_OPTION_CONNECTION_MEMORY_LIMIT, connectionMemory,         //
                         MHD_OPTION_THREAD_STACK_SIZE, stackSize,                      //
                         MHD_OPTION_END);
    if (!daemon) {
        problem = "port " + std::to_string(port) + ": " + std::strerror(errno);
        return;
    }
    port = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port;
}

HttpServer::~HttpServer()
{
    if (daemon) {
        MHD_stop_daemon(daemon);
    }
}

}  // namespace view
