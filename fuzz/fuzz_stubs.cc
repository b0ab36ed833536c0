// What the configuration module needs from the rest of the library, so the
// fuzzer builds from the module's own sources.
#include <pthread.h>

#include "qorl_adapter.h"

namespace qorl {
// Not printed: the fuzzer's output stays its own.
void report(const char *, ...) {}
} // namespace qorl

extern "C" {
void qorl_get_mutex_lock(void *m) { pthread_mutex_lock(static_cast<pthread_mutex_t *>(m)); }
void qorl_release_mutex_lock(void *m) { pthread_mutex_unlock(static_cast<pthread_mutex_t *>(m)); }
qorl_adapter_t *qorl_adapter_get_by_idx(int) { return nullptr; }
void qorl_adapter_get_serial_num(qorl_adapter_t *, char *sn) { sn[0] = '\0'; }
qorl_t *qorl_adapter_get_ioc(qorl_adapter_t *, int) { return nullptr; }
}
