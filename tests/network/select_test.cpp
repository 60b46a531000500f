#include <ombrel/select.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <memory>
#include <thread>

#include <unistd.h>

#if !defined(_WIN32)
#include <sys/time.h>
#endif

#include "loopback.h"
#include "support/heap_balance.h"

using namespace ombrel_test;

namespace {

constexpr int read_flag = 1, write_flag = 2, exception_flag = 4, any_flag = 8, retry_flag = 16;

class SelectTest : public balanced_test {};

struct select_closer {
    void operator()(ombrel_select_t* record) const { ombrel_close_select(record); }
};
using selection = std::unique_ptr<ombrel_select_t, select_closer>;

#if !defined(_WIN32)

/// Interrupts the program after so many microseconds, and again after each period.
class alarm_clock {
public:
    alarm_clock(int first, int period) {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        const itimerval times{{0, period}, {0, first}};
        setitimer(ITIMER_REAL, &times, nullptr);
    }
    ~alarm_clock() {
        const itimerval none{};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }

private:
    struct sigaction before_ {};
};

#endif

TEST_F(SelectTest, SingleReportsTheKindsThatAreReady) {
    connected_pair pair;
    EXPECT_EQ(0, ombrel_single_select(pair.a, read_flag, 0));
    EXPECT_EQ(write_flag, ombrel_single_select(pair.a, 7, 0));
    ASSERT_EQ(1, ombrel_sys_send(pair.b, "x", 1, 0));
    EXPECT_EQ(read_flag, ombrel_single_select(pair.a, read_flag | exception_flag, 1000));
    ASSERT_EQ(1, ombrel_sys_send(pair.b, "!", 1, MSG_OOB));
    EXPECT_EQ(exception_flag, ombrel_single_select(pair.a, exception_flag, 1000));
    EXPECT_EQ(7, ombrel_single_select(pair.a, 7, 1000));
}

TEST_F(SelectTest, WaitsForNothingSleep) {
    connected_pair pair;
    const selection empty(ombrel_open_select());
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(0, ombrel_single_select(-1, 0, 30));
    EXPECT_EQ(0, ombrel_single_select(pair.a, 0, 30));
    EXPECT_EQ(0, ombrel_select_dispatch(empty.get(), 30));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 90u);
}

// poll() reports a hang-up whether asked or not; nobody waits for it here, nor does anybody else wait longer.
TEST_F(SelectTest, AHangUpThatNobodyAskedForEndsNoWait) {
    connected_pair pair, other;
    ombrel_shutdown_socket(pair.a, 2);
    pair.b.close();
    const uint64_t start = ombrel_time_stamp_msec();
    EXPECT_EQ(0, ombrel_single_select(pair.a, exception_flag, 40));
    EXPECT_GE(ombrel_time_stamp_msec() - start, 40u);
    const selection record(ombrel_open_select());
    ombrel_add_select(record.get(), pair.a, exception_flag);
    ombrel_add_select(record.get(), other.a, read_flag);
    std::thread sender([&] {
        usleep(20000);
        ombrel_sys_send(other.b, "x", 1, 0);
    });
    EXPECT_EQ(1, ombrel_select_dispatch(record.get(), 20000));
    EXPECT_EQ(read_flag, ombrel_is_select(record.get(), other.a, 7));
    sender.join();
}

TEST_F(SelectTest, AClosedDescriptorIsAnError) {
    int closed;
    {
        connected_pair pair;
        closed = pair.a;
    }
    EXPECT_EQ(-1, ombrel_single_select(closed, read_flag, 0));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ(-1, ombrel_single_select(-5, read_flag, 0));
}

TEST_F(SelectTest, InterruptionsEndTheWaitUnlessRetryIsAsked) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no signals that interrupt";
#else
    connected_pair pair;
    {
        const alarm_clock again_if_missed(5000, 50000);
        EXPECT_EQ(-1, ombrel_single_select(pair.a, read_flag, 2000));
        EXPECT_EQ(EINTR, errno);
    }
    {
        const alarm_clock once(5000, 0);
        const uint64_t start = ombrel_time_stamp_msec();
        const int result = ombrel_single_select(pair.a, read_flag | retry_flag, 40);
        EXPECT_TRUE(result == 0 || (result == -1 && errno == EINTR)) << "it may come as late as the limit";
        EXPECT_GE(ombrel_time_stamp_msec() - start, 39u);
    }
    const alarm_clock again_and_again(2000, 2000);
    EXPECT_EQ(-1, ombrel_single_select(pair.a, read_flag | retry_flag, -1)) << "ten calls are the limit";
    EXPECT_EQ(EINTR, errno);
#endif
}

TEST_F(SelectTest, ARecordHasTheDocumentedLayout) {
    EXPECT_LT(offsetof(ombrel_select_t, m_capacity), offsetof(ombrel_select_t, m_storage));
    EXPECT_LT(offsetof(ombrel_select_t, m_storage), offsetof(ombrel_select_t, m_read_count));
    EXPECT_LT(offsetof(ombrel_select_t, m_exception_count), offsetof(ombrel_select_t, m_read));
    EXPECT_LT(offsetof(ombrel_select_t, m_exception_result), offsetof(ombrel_select_t, m_highest_socket));
    const struct {
        int max_sockets;
        uint32_t capacity;
    } cases[] = {{0, 264}, {-7, 264}, {64, 264}, {65, 268}, {1000, 4008}};
    for (const auto& one : cases) {
        const selection record(ombrel_open_select_ex(one.max_sockets));
        ASSERT_TRUE(record);
        EXPECT_EQ(one.capacity, record->m_capacity);
        EXPECT_EQ(-1, record->m_highest_socket);
        const char* const storage = static_cast<const char*>(record->m_storage);
        EXPECT_EQ(storage + 5 * one.capacity, reinterpret_cast<const char*>(record->m_exception_result));
    }
}

TEST_F(SelectTest, InterestIsKeptInOrderWithoutRepeats) {
    const selection record(ombrel_open_select());
    for (const int s : {9, 5, 7, 5})
        ASSERT_EQ(0, ombrel_add_select(record.get(), s, read_flag | write_flag));
    EXPECT_EQ(3, record->m_read_count);
    EXPECT_EQ(9, record->m_highest_socket);
    ASSERT_EQ(0, ombrel_del_select(record.get(), 9, read_flag));
    EXPECT_EQ(5, record->m_read->m_socket[0]);
    EXPECT_EQ(7, record->m_read->m_socket[1]);
    EXPECT_EQ(9, record->m_highest_socket) << "still watched for writing";
    ASSERT_EQ(0, ombrel_set_select(record.get(), 9, exception_flag));
    EXPECT_EQ(exception_flag, ombrel_get_select_flags(record.get(), 9));
    ASSERT_EQ(0, ombrel_set_select(record.get(), 9, 0));
    EXPECT_EQ(7, record->m_highest_socket);
    EXPECT_EQ(0, ombrel_del_select(record.get(), 6, 7)) << "not there: nothing changes";
    EXPECT_EQ(2, record->m_read_count);
    ASSERT_EQ(0, ombrel_del_select(record.get(), 7, 7));
    ASSERT_EQ(0, ombrel_del_select(record.get(), 5, 7));
    EXPECT_EQ(-1, record->m_highest_socket);
    EXPECT_EQ(0, record->m_read_count | record->m_write_count | record->m_exception_count);
    EXPECT_EQ(0, ombrel_is_select(record.get(), 3, any_flag));
}

TEST_F(SelectTest, AFullSetCountsButDoesNotStore) {
    const selection record(ombrel_open_select_ex(100));
    for (int s = 0; s < 66; s++)
        ASSERT_EQ(0, ombrel_add_select(record.get(), s, read_flag));
    EXPECT_EQ(66, record->m_read_count);
    EXPECT_EQ(64u, record->m_read->m_count);
    EXPECT_EQ(0, ombrel_get_select_flags(record.get(), 64));
    EXPECT_EQ(65, record->m_highest_socket);
    ASSERT_EQ(0, ombrel_clear_select(record.get()));
    EXPECT_EQ(0, record->m_read_count);
    EXPECT_EQ(0u, record->m_read->m_count);
}

TEST_F(SelectTest, StorageGrowsWithTheDescriptor) {
    const struct {
        int s;
        uint32_t capacity;
    } cases[] = {{64, 264}, {65, 528}, {1054, 4224}, {1055, 4740}, {2110, 8868}, {2215, 8868}, {2216, 9384}};
    const selection record(ombrel_open_select());
    ombrel_add_select(record.get(), 3, 7);
    for (const auto& one : cases) {
        ASSERT_EQ(0, ombrel_add_select(record.get(), one.s, read_flag));
        EXPECT_EQ(one.capacity, record->m_capacity) << one.s;
    }
    EXPECT_EQ(7, ombrel_get_select_flags(record.get(), 3)) << "interest moves along";
    EXPECT_EQ(-1, ombrel_add_select(record.get(), INT32_MAX, read_flag)) << "more than a capacity can tell";
    EXPECT_EQ(2216, record->m_highest_socket);
    EXPECT_EQ(8, record->m_read_count);
}

TEST_F(SelectTest, RefusesNoRecordAndNoSocket) {
    const selection record(ombrel_open_select());
    for (const int refused :
         {ombrel_add_select(nullptr, 3, read_flag), ombrel_del_select(nullptr, 3, read_flag),
          ombrel_set_select(nullptr, 3, read_flag), ombrel_clear_select(nullptr),
          ombrel_close_select(nullptr), ombrel_select_dispatch(nullptr, 0),
          ombrel_is_select(nullptr, 3, read_flag), ombrel_add_select(record.get(), -1, read_flag),
          ombrel_del_select(record.get(), -1, read_flag), ombrel_set_select(record.get(), -1, read_flag)})
        EXPECT_EQ(-1, refused);
    EXPECT_EQ(0, ombrel_get_select_flags(nullptr, 3));
    EXPECT_EQ(nullptr, ombrel_open_select_ex(INT32_MAX)) << "more than a capacity can tell";
    EXPECT_EQ(0, ombrel_add_select(record.get(), 3, any_flag | retry_flag)) << "of no kind";
    EXPECT_EQ(0, ombrel_add_select(record.get(), 0, read_flag));
    EXPECT_EQ(0, record->m_highest_socket);
    EXPECT_EQ(0, ombrel_get_select_flags(record.get(), 1));
    EXPECT_EQ(-1, ombrel_is_select(record.get(), 1, read_flag)) << "above all that it holds";
    EXPECT_EQ(any_flag, ombrel_is_select(record.get(), 0, any_flag | read_flag)) << "not looked at yet";
}

TEST_F(SelectTest, DispatchCountsEveryKindOfHighDescriptors) {
    connected_pair pair;
    owned_socket high = move_high(std::move(pair.a));
    if (high == -1)
        GTEST_SKIP() << "the descriptor limit is too low";
    const selection record(ombrel_open_select());
    ombrel_add_select(record.get(), high, read_flag | write_flag);
    ombrel_add_select(record.get(), pair.b, read_flag);
    EXPECT_EQ(1, ombrel_select_dispatch(record.get(), 0));
    EXPECT_EQ(write_flag | any_flag, ombrel_is_select(record.get(), high, 15));
    ASSERT_EQ(1, ombrel_sys_send(pair.b, "x", 1, 0));
    ASSERT_EQ(read_flag, ombrel_single_select(high, read_flag, 1000));
    EXPECT_EQ(2, ombrel_select_dispatch(record.get(), 1000));
    EXPECT_EQ(3, ombrel_is_select(record.get(), high, 7));
    EXPECT_EQ(0, ombrel_is_select(record.get(), pair.b, 7));
    EXPECT_EQ(-1, ombrel_is_select(record.get(), high + 1, 7));
    EXPECT_EQ(read_flag, ombrel_get_select_flags(record.get(), pair.b)) << "dispatch leaves the interest";
}

} // namespace
