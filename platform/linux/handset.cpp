// The files of the emulated handset as the stand-ins use them; see the header. Only the C library is used, no templates
// of the C++ library: their instances would be exported from the platform's libraries.
#include "platform/linux/handset.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

constexpr size_t k_line_max = 1024; // bytes of a record or report with its terminator; longer ones are cut

// A part of a control file, not terminated; null if the key is not there.
struct value_span {
    const char *m_text;
    size_t m_length;
};

size_t handset_append_list(char *text, size_t size, size_t used, const char *format, va_list arguments)
{
    const size_t room = size - used;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): each caller has started it
    const int wanted = vsnprintf(text + used, room, format, arguments);
    if (wanted < 0) {
        text[used] = '\0';
        return used;
    }
    const auto length = static_cast<size_t>(wanted);
    return used + (length < room ? length : room - 1);
}

size_t handset_append(char *text, size_t size, size_t used, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    used = handset_append_list(text, size, used, format, arguments);
    va_end(arguments);
    return used;
}

int handset_write(int descriptor, const char *bytes, size_t count)
{
    ssize_t written = 0;
    do {
        written = write(descriptor, bytes, count);
    } while (written < 0 && errno == EINTR);
    return static_cast<int>(written);
}

handset_path handset_path_of(const char *folder, const char *name)
{
    // Nothing changes the environment once there are threads.
    const char *root = getenv("HANDSET_ROOT"); // NOLINT(concurrency-mt-unsafe)
    handset_path path;
    const int wanted = snprintf(path.m_text, sizeof(path.m_text), "%s%s%s", root == nullptr ? "" : root, folder, name);
    if (wanted < 0 || static_cast<size_t>(wanted) >= sizeof(path.m_text)) {
        path.m_text[0] = '\0';
    }
    return path;
}

// At most four bytes and the terminator, the longest being \x1f.
static size_t escape_byte(char byte, char (&escaped)[5])
{
    static const char k_named[] = "\\\\\nn\rr\tt"; // pairs: the byte, its letter
    for (const char *pair = k_named; *pair != '\0'; pair += 2) {
        if (*pair == byte) {
            return handset_append(escaped, sizeof(escaped), 0, "\\%c", pair[1]);
        }
    }
    const auto code = static_cast<unsigned char>(byte);
    const bool is_control = code < 0x20 || code == 0x7f;
    return handset_append(escaped, sizeof(escaped), 0, is_control ? "\\x%02x" : "%c", code);
}

static size_t escape_line(const char *text, char *line, size_t size)
{
    size_t used = 0;
    for (; *text != '\0'; ++text) {
        char escaped[5];
        const size_t length = escape_byte(*text, escaped);
        if (length >= size - used) {
            break;
        }
        memcpy(line + used, escaped, length);
        used += length;
    }
    line[used] = '\n';
    return used + 1;
}

static void record_line(const char *text)
{
    char line[k_line_max];
    const size_t length = escape_line(text, line, sizeof(line));
    const int descriptor =
        open(handset_path_of("/handset/", "calls").m_text, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return;
    }
    (void)handset_write(descriptor, line, length); // a record lost is seen by whoever misses it
    (void)close(descriptor);
}

void handset_record(const char *format, ...)
{
    char text[k_line_max];
    va_list arguments;
    va_start(arguments, format);
    (void)handset_append_list(text, sizeof(text), 0, format, arguments);
    va_end(arguments);
    record_line(text);
}

// Fills the call's control text; a file that is missing or cannot be read is as good as an empty one.
static void read_control(handset_call &call)
{
    call.m_length = 0;
    const int descriptor = open(call.m_file.m_text, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    ssize_t count = 0;
    do {
        count = read(descriptor, call.m_control + call.m_length, sizeof(call.m_control) - call.m_length);
        call.m_length += count > 0 ? static_cast<size_t>(count) : 0;
    } while (count > 0 || (count < 0 && errno == EINTR));
    (void)close(descriptor);
}

handset_call handset_begin(const char *format, ...)
{
    char line[k_line_max];
    va_list arguments;
    va_start(arguments, format);
    (void)handset_append_list(line, sizeof(line), 0, format, arguments);
    va_end(arguments);

    char entry[64] = "";
    const auto name_length = static_cast<int>(strcspn(line, "("));
    (void)handset_append(entry, sizeof(entry), 0, "%.*s", name_length, line);

    handset_call call;
    call.m_file = handset_path_of("/handset/control/", entry);
    read_control(call);
    record_line(line);
    return call;
}

// The last of several lines for one key counts, so that a file can be changed by appending to it.
static value_span find_value(const handset_call &call, const char *key)
{
    const size_t key_length = strlen(key);
    const char *const end = call.m_control + call.m_length;
    value_span found = {nullptr, 0};
    for (const char *line = call.m_control; line < end;) {
        const void *const feed = memchr(line, '\n', static_cast<size_t>(end - line));
        const char *const line_end = feed == nullptr ? end : static_cast<const char *>(feed);
        const auto length = static_cast<size_t>(line_end - line);
        if (length > key_length && line[key_length] == '=' && memcmp(line, key, key_length) == 0) {
            found = {line + key_length + 1, length - key_length - 1};
        }
        line = feed == nullptr ? end : line_end + 1;
    }
    return found;
}

static void report_bad_value(const handset_call &call, const char *key, value_span value)
{
    constexpr int k_shown_max = 200;
    const int shown = value.m_length < k_shown_max ? static_cast<int>(value.m_length) : k_shown_max;
    char line[PATH_MAX + k_line_max];
    const size_t length = handset_append(line, sizeof(line), 0, "%s: %s: cannot use \"%.*s\", taking the default\n",
                                         call.m_file.m_text, key, shown, value.m_text);
    (void)handset_write(STDERR_FILENO, line, length); // nowhere else to say it
}

static bool parse_number(value_span value, int lowest, int &number)
{
    char digits[32];
    if (value.m_length == 0 || value.m_length >= sizeof(digits)) {
        return false;
    }
    memcpy(digits, value.m_text, value.m_length);
    digits[value.m_length] = '\0';
    char *end = nullptr;
    errno = 0;
    const long parsed = strtol(digits, &end, 10);
    if (errno != 0 || end != digits + value.m_length || parsed < lowest || parsed > INT_MAX) {
        return false;
    }
    number = static_cast<int>(parsed);
    return true;
}

int handset_number(const handset_call &call, const char *key, int default_value, int lowest)
{
    const value_span value = find_value(call, key);
    int number = default_value;
    if (value.m_text != nullptr && !parse_number(value, lowest, number)) {
        report_bad_value(call, key, value);
    }
    return number;
}

// What the letter after a backslash stands for, or 0 if it is none of the known ones.
static char unescape(char letter)
{
    switch (letter) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case '\\':
        return '\\';
    default:
        return '\0';
    }
}

// Reads the whole value even when it is cut, so that a mistake at its end is found whatever the caller's size.
static bool decode_text(value_span value, char *text, size_t size)
{
    size_t used = 0;
    for (size_t i = 0; i < value.m_length; ++i) {
        char byte = value.m_text[i];
        if (byte == '\\') {
            ++i;
            byte = i < value.m_length ? unescape(value.m_text[i]) : '\0';
        }
        if (byte == '\0') {
            return false;
        }
        if (used < size - 1) {
            text[used++] = byte;
        }
    }
    text[used] = '\0';
    return true;
}

void handset_text(const handset_call &call, const char *key, const char *default_text, char *text, size_t size)
{
    const value_span value = find_value(call, key);
    if (value.m_text != nullptr && decode_text(value, text, size)) {
        return;
    }
    if (value.m_text != nullptr) {
        report_bad_value(call, key, value);
    }
    (void)handset_append(text, size, 0, "%s", default_text);
}

int handset_end(const handset_call &call, int default_result)
{
    const int delay_ms = handset_number(call, "delay_ms", 0, 0);
    if (delay_ms > 0) {
        timespec left = {delay_ms / 1000, (delay_ms % 1000) * 1000000L};
        while (nanosleep(&left, &left) != 0 && errno == EINTR) {
        }
    }
    return handset_number(call, "result", default_result);
}
