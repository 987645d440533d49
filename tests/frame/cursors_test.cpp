// What each cursor operation asks of the host, in which order, and how it leaves the cursor.

#include "tests/support/child_output.h"

namespace libzepl {
namespace {

using Lines = std::vector<std::string>;

void expectCalls(const std::string& operation, const Lines& calls) {
    EXPECT_EQ(sceneOf("cursors " + operation), calls) << operation;
}

TEST(Cursors, FlushTakesThePointerFirstAndThenPuts) {
    expectCalls("flush", {"pbuf_open 5 capacity 10", "pbuf_get_data_ptr 105", "pbuf_put_set_cnt 105: 3, 7 8 9",
                          "pipe 5 pbuf 105 pending 0 at area 105 + 0"});
}

TEST(Cursors, FlushWithNothingPendingTakesThePointerAlone) {
    expectCalls("flush_nothing",
                {"pbuf_open 5 capacity 10", "pbuf_get_data_ptr 105", "pipe 5 pbuf 105 pending 0 at area 105 + 0"});
}

TEST(Cursors, RefillSwitchesTakesThePointerAndGets) {
    const Lines opened{"pbuf_open 5 capacity 10", "pbuf_open 6 capacity 10"};
    const Lines refilled{"task_switch", "pbuf_get_data_ptr 106", "pbuf_get 106", "result 2"};
    const std::string reader = "pipe 6 pbuf 106 count 2 at area 106 + 0";
    const auto expectRefill = [&](const std::string& operation, const Lines& flushed, const std::string& writer) {
        Lines calls = opened;
        calls.insert(calls.end(), flushed.begin(), flushed.end());
        calls.insert(calls.end(), refilled.begin(), refilled.end());
        calls.insert(calls.end(), {writer, reader});
        expectCalls(operation, calls);
    };
    expectRefill("refill_and_flush", {"pbuf_get_data_ptr 105", "pbuf_put_set_cnt 105: 2, 7 8"},
                 "pipe 5 pbuf 105 pending 0 at area 105 + 0");
    expectRefill("refill_alone", {}, "pipe 5 pbuf 105 pending 0 at area 105 + 3");
    expectRefill("refill_with_negative", {}, "pipe 5 pbuf 105 pending -1 at area 105 + 3");
}

TEST(Cursors, OpeningAsksTheHostInOrder) {
    expectCalls("open_writer", {"pipe_open 5 mode 1", "pbuf_open 5 capacity 10", "pbuf_get_data_ptr 105",
                                "pipe 5 pbuf 105 pending 0 at area 105 + 0", "first area 105 + 0"});
    expectCalls("open_writer_bare",
                {"pipe_open 5 mode 1", "pbuf_open 5 capacity 0", "pipe 5 pbuf 105 pending 0 at null", "first null"});
    expectCalls("open_reader", {"pipe_open 5 mode 0", "pbuf_open 5 capacity 10", "pipe 5 pbuf 105 count 0 at null"});
    expectCalls(
        "open_reader_on_buffer",
        {"pbuf_open 6 capacity 10", "pipe_open 5 mode 0", "pbuf_open 5 capacity 0", "pbuf_set_min_cnt 105: 1",
         "pbuf_set_max_cnt 105: 77", "pbuf_set_data_ptr 105: area 106 + 4", "pipe 5 pbuf 105 count 0 at area 105 + 0"});
}

TEST(Cursors, AnInPlacePairSharesTheWritersBuffer) {
    expectCalls("open_in_place_pair",
                {"pipe_open 31 mode 1", "pbuf_open 31 capacity 600", "pbuf_get_data_ptr 131", "pipe_open 34 mode 0",
                 "pbuf_open 34 capacity 0", "pbuf_set_min_cnt 134: 1", "pbuf_set_max_cnt 134: 600",
                 "pbuf_set_data_ptr 134: area 131 + 0", "pipe 31 pbuf 131 pending 0 at area 131 + 0",
                 "pipe 34 pbuf 134 count 0 at area 131 + 0"});
}

}  // namespace
}  // namespace libzepl
