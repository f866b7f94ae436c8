#include "redisserver.h"

#include <chrono>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Reply = std::unique_ptr<redisReply, void (*)(void*)>;

Reply owned(void* reply)
{
    return Reply(static_cast<redisReply*>(reply), freeReplyObject);
}

pid_t startServer(const std::string& socket)
{
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDOUT_FILENO);
    // One program, which does what it is called by. Debian has it under the other name in
    // redis-tools; the package of its own name also starts a server for the whole system.
    execlp("redis-check-rdb", "redis-server", "--port", "0", "--unixsocket", socket.c_str(),
        "--save", "", "--appendonly", "no", "--daemonize", "no", static_cast<char*>(nullptr));
    _exit(127);
}

} // namespace

RedisServer::RedisServer(const std::string& socket)
    : mPid(startServer(socket))
    , mClient(nullptr, redisFree)
{
    if (!connect(socket))
        mError = "there is no Redis server (Debian's redis-tools)";
}

RedisServer::~RedisServer()
{
    kill(mPid, SIGTERM);
    waitpid(mPid, nullptr, 0);
}

bool RedisServer::connect(const std::string& socket)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        mClient.reset(redisConnectUnix(socket.c_str()));
        if (mClient && !mClient->err)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

bool RedisServer::set(const std::string& key, const std::string& value)
{
    const Reply reply =
        owned(redisCommand(mClient.get(), "SET %s %b", key.c_str(), value.data(), value.size()));
    return reply && reply->type == REDIS_REPLY_STATUS;
}

bool RedisServer::get(const std::string& key, std::string& value)
{
    const Reply reply = owned(redisCommand(mClient.get(), "GET %s", key.c_str()));
    if (!reply || reply->type != REDIS_REPLY_STRING)
        return false;
    value.assign(reply->str, reply->len);
    return true;
}
