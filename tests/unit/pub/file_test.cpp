#include "pub/base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "pub/base/scoped.h"
#include "tests/support/temp_folder.h"

namespace {

int g_fstat_error = 0; // with which the call fails
int g_ftruncate_error = 0;

int fail(int error)
{
    errno = error;
    return -1;
}

} // namespace

extern "C" {

int __real_fstat(int fd, struct stat *info);
int __wrap_fstat(int fd, struct stat *info)
{
    return g_fstat_error != 0 ? fail(g_fstat_error) : __real_fstat(fd, info);
}

int __real_ftruncate(int fd, off_t length);
int __wrap_ftruncate(int fd, off_t length)
{
    return g_ftruncate_error != 0 ? fail(g_ftruncate_error) : __real_ftruncate(fd, length);
}
}

namespace {

TEST(OpenFile, OpensFilesAndFolders)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    const scoped_fd file(pub_util_open_file(path.c_str(), O_RDONLY));
    char text[4] = "";
    EXPECT_EQ(read(file.get(), text, 3), 3);
    EXPECT_STREQ(text, "abc");
    EXPECT_NE(fcntl(file.get(), F_GETFD) & FD_CLOEXEC, 0);
    const scoped_fd of_folder(pub_util_open_file(folder.path().c_str(), O_RDONLY));
    EXPECT_TRUE(of_folder.is_open());
}

TEST(OpenFile, LeavesTheDescriptorAsItWasAskedFor)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    const int flags_a[] = {O_RDONLY, O_RDWR, O_WRONLY | O_APPEND, O_RDWR | O_NONBLOCK};
    for (const int flags : flags_a) {
        const scoped_fd file(pub_util_open_file(path.c_str(), flags));
        constexpr int k_asked = O_ACCMODE | O_APPEND | O_NONBLOCK;
        EXPECT_EQ(fcntl(file.get(), F_GETFL) & k_asked, flags) << "a driver is to be waited for unless said otherwise";
    }
}

TEST(OpenFile, MakesAFileForEverybody)
{
    const temp_folder folder;
    const mode_t mask = umask(0);
    const scoped_fd file(pub_util_open_file(folder.path("new").c_str(), O_WRONLY | O_CREAT | O_TRUNC));
    (void)umask(mask);
    struct stat info = {};
    ASSERT_EQ(stat(folder.path("new").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0666U);
    EXPECT_EQ(write(file.get(), "x", 1), 1);
}

TEST(OpenFile, RefusesWhatIsNoFileWithoutWaiting)
{
    const temp_folder folder;
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const std::string &path : {folder.path("pipe"), std::string("/dev/zero"), std::string("/dev/null")}) {
        for (const int flags : {O_RDONLY, O_RDWR}) {
            errno = 0;
            EXPECT_EQ(pub_util_open_file(path.c_str(), flags), -1) << path;
            EXPECT_EQ(errno, EINVAL) << path;
        }
    }
}

TEST(OpenStream, ReadsAndWritesAFile)
{
    const temp_folder folder;
    const std::string path = folder.path("file");
    {
        const scoped_file file(pub_util_open_stream(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, "w"));
        ASSERT_TRUE(file.is_open());
        EXPECT_EQ(fputs("abc", file.get()), 1);
        EXPECT_NE(fcntl(fileno(file.get()), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(read_whole_file(path), "abc");
    const scoped_file file(pub_util_open_stream(path.c_str(), O_RDONLY, "r"));
    char text[4] = "";
    EXPECT_STREQ(fgets(text, sizeof(text), file.get()), "abc");
}

// What stands in a file is not lost by an opening that fails.
TEST(OpenStream, EmptiesAFileLast)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    EXPECT_EQ(pub_util_open_stream(path.c_str(), O_WRONLY | O_TRUNC, "r"), nullptr) << "a mode that does not suit";
    EXPECT_EQ(read_whole_file(path), "abc");
    const scoped_file file(pub_util_open_stream(path.c_str(), O_WRONLY | O_TRUNC, "w"));
    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(read_whole_file(path), "");
}

TEST(OpenFile, EmptiesAFileLast)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    for (const int error : {EIO, ENOMEM}) {
        g_fstat_error = error;
        EXPECT_EQ(pub_util_open_file(path.c_str(), O_WRONLY | O_TRUNC), -1);
        g_fstat_error = 0;
        EXPECT_EQ(read_whole_file(path), "abc");
    }
    const scoped_fd file(pub_util_open_file(path.c_str(), O_WRONLY | O_TRUNC));
    EXPECT_TRUE(file.is_open());
    EXPECT_EQ(read_whole_file(path), "");
}

TEST(OpenFile, FailsWhenTheFileCannotBeEmptied)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    const int next = dup(0);
    (void)close(next);
    g_ftruncate_error = EROFS;
    EXPECT_EQ(pub_util_open_file(path.c_str(), O_WRONLY | O_TRUNC), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(pub_util_open_stream(path.c_str(), O_WRONLY | O_TRUNC, "w"), nullptr);
    EXPECT_EQ(errno, EROFS);
    g_ftruncate_error = 0;
    EXPECT_EQ(read_whole_file(path), "abc");
    const scoped_fd again(dup(0));
    EXPECT_EQ(again.get(), next) << "nothing is left open";
}

TEST(OpenStream, TellsWhyItCannotAndLeavesNothingOpen)
{
    const temp_folder folder;
    const std::string path = folder.with_file("file", "abc");
    const int next = dup(0);
    (void)close(next);
    EXPECT_EQ(pub_util_open_stream(folder.path("missing").c_str(), O_RDONLY, "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(pub_util_open_stream(path.c_str(), O_RDONLY, "w"), nullptr) << "a mode that the flags do not allow";
    EXPECT_EQ(errno, EINVAL);
    const scoped_fd again(dup(0));
    EXPECT_EQ(again.get(), next);
}

TEST(OpenFile, TellsWhyItCannot)
{
    const temp_folder folder;
    EXPECT_EQ(pub_util_open_file(folder.path("missing").c_str(), O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(pub_util_open_file(folder.path().c_str(), O_RDWR), -1);
    EXPECT_EQ(errno, EISDIR);
}

} // namespace
