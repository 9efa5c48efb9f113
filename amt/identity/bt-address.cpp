#include "amt/identity/bt-address.h"

#include <unistd.h>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_file[] = "/amt/BT/BT_Address.txt";
constexpr char k_other_file[] = "/mnt/opl/nvm/BT_Address.txt";

} // namespace

const char *get_bt_addr_file()
{
    log_func();
    if (access(k_file, F_OK) == 0) {
        return k_file;
    }
    if (access(k_other_file, F_OK) == 0) {
        return k_other_file;
    }
    (void)log_error(ERR_C_FUNCTION, "can not access file \"%s\" or \"%s\"", k_file, k_other_file);
    return nullptr;
}
