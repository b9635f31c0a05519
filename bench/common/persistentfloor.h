#ifndef OMBENCH_PERSISTENTFLOOR_H
#define OMBENCH_PERSISTENTFLOOR_H

#include <sys/types.h>
#include <vector>

namespace ombench {

/**
 * The floor under a family that opens its service's object once and keeps
 * it: a raw SOCK_SEQPACKET ping-pong on one connection that stays open, its
 * server a forked child that answers every message at once.
 */
class PersistentFloor
{
public:
    PersistentFloor(int requestBytes, int answerBytes);
    ~PersistentFloor();
    PersistentFloor(const PersistentFloor &) = delete;
    PersistentFloor &operator=(const PersistentFloor &) = delete;

    /** One request and its answer. */
    void roundTrip();
    /** @p count round trips in flight: requests go out while the socket
     *  takes them, answers are read as they come. */
    void inFlight(int count);

private:
    std::vector<char> m_out;
    std::vector<char> m_in;
    int m_fd = -1;
    pid_t m_child = -1;
};

} // namespace ombench

#endif
