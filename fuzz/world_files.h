// The handset's files and channels, in memory: no path leads to this machine. A path that is not the handset's is a
// broken law (world_laws.h), and so is a descriptor that is not open.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

enum class node_kind : uint8_t {
    file,
    kept, // a file that the service has no business writing to
    folder,
    camera,
    log, // takes everything and keeps nothing
    station,
    application,
    modem,
    at_port,
};

// The place of a channel, which is opened by its path or with a world.
constexpr char k_station_path[] = "/dev/station";
constexpr char k_application_path[] = "/dev/application";
constexpr char k_modem_path[] = "/dev/ttyS-modem";
constexpr char k_at_path[] = "/dev/at";

// All files as a new handset has them, and no descriptor open but the log's.
void files_reset();

// A file's content from now on; the number is any.
void files_put(uint8_t number, const uint8_t *bytes, size_t length);

// Whether a path is there; not for one that is not the handset's, which breaks a law.
bool files_exist(const char *path);
void files_remove(const char *path);

// As open(2), but for O_TRUNC; fails with ENOENT for a file that is missing and may not be made.
int files_open(const char *path, int flags);

// Of a descriptor that has to be open.
node_kind files_kind(int fd);
void files_close(int fd);
ssize_t files_read(int fd, void *bytes, size_t room);
ssize_t files_write(int fd, const void *bytes, size_t count);
off_t files_seek(int fd, off_t offset, int whence);
void files_empty(int fd);

// Whether the descriptor is one of the world's. Others are the fuzzer's own.
bool files_owns(int fd);

constexpr int FILES_FIRST_FD = 600;
constexpr int FILES_COUNT = 64;

// How many descriptors are open, less those of the log.
int files_open_count();
