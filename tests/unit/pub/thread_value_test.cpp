#include "pub/base/thread_value.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

enum class colour : unsigned char { none, red, green };

TEST(ThreadValue, IsZeroInAThreadThatHasNotSetIt)
{
    thread_value<int> number;
    thread_value<const char *> text;
    thread_value<colour> choice;
    number.set(-7);
    text.set("text");
    choice.set(colour::red);
    std::thread([&] {
        EXPECT_EQ(number.get(), 0);
        EXPECT_EQ(text.get(), nullptr);
        EXPECT_EQ(choice.get(), colour::none);
    }).join();
}

TEST(ThreadValue, IsEachThreadsOwn)
{
    thread_value<int> number;
    thread_value<colour> choice;
    number.set(-7);
    choice.set(colour::red);
    std::thread([&] {
        number.set(8);
        choice.set(colour::green);
        EXPECT_EQ(number.get(), 8);
        EXPECT_EQ(choice.get(), colour::green);
    }).join();
    EXPECT_EQ(number.get(), -7);
    EXPECT_EQ(choice.get(), colour::red);
}

TEST(ThreadValue, IsOneOfSeveral)
{
    thread_value<int> one;
    thread_value<int> other;
    one.set(1);
    other.set(2);
    EXPECT_EQ(one.get(), 1);
    EXPECT_EQ(other.get(), 2);
    one.set(0);
    EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(other.get(), 2);
}

} // namespace
