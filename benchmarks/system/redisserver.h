#ifndef REDISSERVER_H
#define REDISSERVER_H

#include <memory>
#include <string>

#include <sys/types.h>

#include <hiredis/hiredis.h>

/** A Redis server of this program's own that keeps nothing, on a Unix socket, and a client of it.
 */
class RedisServer
{
public:
    /** @param socket made by the server, in a directory that is there */
    explicit RedisServer(const std::string& socket);
    ~RedisServer();
    RedisServer(RedisServer const&) = delete;
    RedisServer& operator=(RedisServer const&) = delete;

    /** Why there is none; empty when there is one. */
    const std::string& error() const { return mError; }
    pid_t pid() const { return mPid; }

    bool set(const std::string& key, const std::string& value);
    /** @return whether a value came, which is @p value then */
    bool get(const std::string& key, std::string& value);

private:
    bool connect(const std::string& socket);

    pid_t mPid;
    std::string mError;
    std::unique_ptr<redisContext, void (*)(redisContext*)> mClient;
};

#endif
