// Callbacks that do not return, and processes that end with an endpoint that is not theirs.

#include "tests/unit/platform/ServedEndpoint.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Callback : public ServedEndpoint {
protected:
    /// One notification for \p callback is on its way when this returns.
    void Publish(void (*callback)(LinxIpc*, void*), void* userData = nullptr)
    {
        auto served = std::async(std::launch::async, [this] {
            peer->AcceptSubscription();
            ServedEndpoint::Publish(messages::regionVisItem);
        });
        RegionVisItem unused;
        SubtitleClient client(*ipc, eventDeadlineMs);
        ASSERT_EQ(client.Subscribe(cif, messages::regionVisItem, unused, callback, userData), 0);
        served.get();
    }

    void ExpectUsable()
    {
        auto served = std::async(std::launch::async,
                                 [this] { peer->Reply(peer->ExpectRequest(messages::ping)); });
        EXPECT_EQ(Ping(), 0);
        served.get();
        EXPECT_EQ(Receive(0), ETIMEDOUT);
        unsigned int count = 0;
        Publish(Count, &count);
        EXPECT_EQ(Receive(), 0);
        EXPECT_EQ(count, 1u);
    }
};

TEST_F(Callback, ThatThrowsLeavesTheEndpointUsable)
{
    Connect();
    Publish([](LinxIpc*, void*) { throw std::runtime_error("from the callback"); });
    EXPECT_THROW(Receive(), std::runtime_error);
    ExpectUsable();
    ipc.reset();  // does not wait for the call that was left
}

TEST_F(Callback, ThatHasNoMemoryLosesItsNotification)
{
    Connect();
    Publish([](LinxIpc*, void*) { throw std::bad_alloc(); });
    EXPECT_EQ(Receive(), ENOMEM);
    ExpectUsable();
}

/// Runs \p end in a child process. \return its exit status; -1 when it had to be killed
template <typename End>
int StatusOfChild(const End& end)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(eventDeadlineMs / 1000);  // instead of waiting for ever
        end();
        std::_Exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Callback, MayEndTheProcess)
{
    EXPECT_EQ(StatusOfChild([this] {
                  static LinxIpc mortal("Mortal");  // whose destructor runs at the end
                  ipc.reset();
                  ipc.reset(&mortal);
                  mortal.Init();
                  Connect();
                  Publish([](LinxIpc*, void*) { std::exit(7); });
                  Receive();
              }),
              7);
}

using ForkedChild = ServedEndpoint;

TEST_F(ForkedChild, LeavesTheConnectionOfItsParentAtItsEnd)
{
    Connect();
    std::atomic<bool> isOver{false};
    auto served = AnswerAll();
    auto other = std::async(std::launch::async, [&] {
        int failures = 0;
        while (!isOver) {
            failures += Ping() != 0;
        }
        return failures;
    });
    // Some of the children find the endpoint's lock taken, by a thread that they do not have.
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(StatusOfChild([this] {
                      ipc.reset();
                      std::_Exit(5);
                  }),
                  5);
    }
    isOver = true;
    EXPECT_EQ(other.get(), 0);
    EXPECT_EQ(Ping(), 0);
    ipc.reset();
    served.get();
}

}  // namespace
