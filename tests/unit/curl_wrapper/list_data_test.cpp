#include "capture.h"
#include "support/failing_heap.h"

TEST(ListDataAdd, TurnsLineEndsIntoNuls)
{
    capture_t capture;
    EXPECT_EQ(list_data_add(capture.info->tmp, "a\r\nb\rc\nd", 8), 1);
    EXPECT_EQ(capture.buffered(), std::string("a\0\0b\0c\0d", 8));
    EXPECT_EQ(list_data_add(capture.info->tmp, "\n", 1), 1);
    EXPECT_EQ(capture.buffered(), std::string("a\0\0b\0c\0d\0", 9));
}

TEST(ListDataAdd, AcceptsNothing)
{
    capture_t capture;
    EXPECT_EQ(list_data_add(capture.info->tmp, "a", 0), 1);
    EXPECT_EQ(list_data_add(capture.info->tmp, nullptr, 3), 1);
    EXPECT_EQ(capture.info->tmp->buffer, nullptr);
}

TEST(ListDataAdd, GrowsToTheNeedPlus256WithBit8Cleared)
{
    const std::pair<uint32_t, uint32_t> cases[] = {{1, 1},         {255, 255},    {256, 512}, {257, 513},
                                                   {511, 767},     {512, 512},    {767, 767}, {768, 1024},
                                                   {16384, 16384}, {16640, 16896}};
    for (const auto &[need, capacity] : cases) {
        capture_t capture;
        const std::string data(need, 'x');
        EXPECT_EQ(list_data_add(capture.info->tmp, data.data(), data.size()), 1);
        EXPECT_EQ(capture.info->tmp->buffer->length, need);
        EXPECT_EQ(capture.info->tmp->buffer->capacity, capacity) << need;
    }
}

TEST(ListDataAdd, KeepsItsBufferWhileItSufficesAndZeroesTheUnusedRest)
{
    capture_t capture;
    const std::string data(256, 'x');
    list_data_add(capture.info->tmp, data.data(), 256); // capacity 512
    list_data_add(capture.info->tmp, data.data(), 255);
    const dynamic_buffer_t *buffer = capture.info->tmp->buffer;
    EXPECT_EQ(buffer->length, 511u);
    EXPECT_EQ(buffer->capacity, 512u);
    EXPECT_EQ(buffer->data[511], '\0');
    list_data_add(capture.info->tmp, data.data(), 256); // need 767
    EXPECT_EQ(buffer->length, 767u);
    EXPECT_EQ(buffer->capacity, 767u);
    list_data_add(capture.info->tmp, data.data(), 1); // need 768
    EXPECT_EQ(buffer->capacity, 1024u);
    EXPECT_EQ(std::string(buffer->data + 768, 256), std::string(256, '\0'));
}

TEST(ListDataAdd, FailsWithoutMemory)
{
    const char *messages[] = {"error: curl_wrapper(2447): dynamic_buffer_alloc(): Failed\n",
                              "error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n"};
    for (int nth = 1; nth <= 2; ++nth) {
        capture_t capture;
        const failing_heap heap(nth);
        EXPECT_EQ(list_data_add(capture.info->tmp, "a", 1), 0);
        EXPECT_EQ(logged(), lines{messages[nth - 1]});
        EXPECT_EQ(list_data_add(capture.info->tmp, "b", 1), 1); // memory is available again
        EXPECT_EQ(capture.buffered(), "b");
    }
    capture_t capture;
    list_data_add(capture.info->tmp, "a", 1);
    const failing_heap heap(1);
    EXPECT_EQ(list_data_add(capture.info->tmp, "b", 1), 0);
    EXPECT_EQ(capture.buffered(), "a");
    EXPECT_EQ(logged(), lines{messages[1]});
}

TEST(ListDataAdd, AnUnfinishedLineMayGrowToOneMebibyte)
{
    constexpr size_t MIB = 1024 * 1024;
    const lines refusal{"error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n"};
    const std::string mib(MIB, 'x');
    capture_t capture;
    list_tmp_t *tmp = capture.info->tmp;
    EXPECT_EQ(list_data_add(tmp, mib.data(), MIB), 1);
    EXPECT_EQ(list_data_add(tmp, "x", 1), 0);
    EXPECT_EQ(logged(), refusal);
    EXPECT_EQ(tmp->buffer->length, MIB);
    EXPECT_EQ(list_data_add(tmp, "", 1), 1);           // its end is still accepted
    EXPECT_EQ(list_data_add(tmp, mib.data(), MIB), 1); // the next line counts from 0
    EXPECT_EQ(list_data_add(tmp, "x", 1), 0);
    EXPECT_EQ(list_data_add(tmp, "\ry", 2), 1);
    EXPECT_EQ(list_data_add(tmp, mib.data(), MIB), 0);
    EXPECT_EQ(list_data_add(tmp, mib.data(), MIB - 1), 1);
    logged();
}

TEST(ListDataAdd, ManyLinesMayExceedOneMebibyte)
{
    capture_t capture;
    std::string data;
    for (int i = 0; i < 300000; ++i)
        data += "line " + std::to_string(i) + "\r\n";
    EXPECT_EQ(list_data_add(capture.info->tmp, data.data(), data.size()), 1);
    EXPECT_EQ(capture.info->tmp->buffer->length, data.size());
}

TEST(ListDataAdd, RefusesWhatALengthOf32BitsCannotCount)
{
    capture_t capture;
    char line_end = '\n';
    list_data_add(capture.info->tmp, &line_end, 1);
    capture.info->tmp->buffer->length = UINT32_MAX - 10; // pretended: never accessed
    capture.info->tmp->buffer->capacity = UINT32_MAX - 10;
    EXPECT_EQ(list_data_add(capture.info->tmp, "0123456789a\n", 12), 0);
    EXPECT_EQ(logged(), lines{"error: curl_wrapper(2458): dynamic_buffer_realloc(): Failed\n"});
    capture.info->tmp->buffer->length = 1;
    capture.info->tmp->buffer->capacity = 1;
}
