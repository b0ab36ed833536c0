// The boot update of every adapter: one joinable worker per adapter, at
// most 16, each with its work record in the process-wide table (so one
// such update runs at a time; the callers see to that).
#include <cstdio>
#include <pthread.h>

#include "qorl_adapter.h"
#include "qorl_boot.h"
#include "qorl_flash_int.h"
#include "qorl_int.h"
#include "qorl_ioc.h"

namespace qorl::flash {
namespace {

// One adapter's work record.
struct bootupdt_s {
	uint32_t ad_id;       // adapter number, from 1
	int image_count;      // entries of the package tables the worker reads
	int card_count;
	int thread_sts;       // nonzero when the worker could not be created
	qor_status_t code;    // the adapter's result
	size_t ret;           // ad_id on success, 0 otherwise
	uint16_t devid;       // 0: the controller's own
	qorl_boot_progress_t *progress;
};

bootupdt_s bootupdt[QORL_BOOT_MAX_ADAPTERS];
pthread_t thread_id[QORL_BOOT_MAX_ADAPTERS];

// One adapter's worker: its first controller, that controller's device ID
// (unless the update names one) and card type.
void *qorl_update_adapter_flash(void *arg)
{
	auto &u = *static_cast<bootupdt_s *>(arg);
	progress_writer prog(u.progress);
	prog.start(u.ad_id);
	qorl_t *q = qorl_adapter_get_port(static_cast<int>(u.ad_id));
	qor_ioc_attr_t attr{};
	if (!q || qorl_ioc_get_attr(q, &attr) != QOR_STATUS_OK) {
		prog.done(u.code);
		return nullptr;
	}
	const uint16_t devid = u.devid ? u.devid : attr.pci_attr.device_id;
	const tables t{pimagefiledata, u.image_count, pcarddata, u.card_count};
	u.code = boot_flash_data(q, devid, attr.adapter_attr.card_type, t, prog);
	return u.code == QOR_STATUS_OK ? reinterpret_cast<void *>(static_cast<uintptr_t>(u.ad_id)) : nullptr;
}

} // namespace

qor_status_t update_adapters(uint16_t *status, qor_status_t *err_code, const tables &t, uint16_t devid,
			     qorl_boot_progress_t *progress)
{
	const unsigned count = qorl_adapter_get_count();
	if (count > QORL_BOOT_MAX_ADAPTERS) {
		printf("Adapter count exceeds the maximum!\n");
		return QOR_STATUS_FAILED;
	}
	for (unsigned i = 0; i < QORL_BOOT_MAX_ADAPTERS; i++) {
		bootupdt[i] = {i + 1, t.image_count, t.card_count, 0, QOR_STATUS_FAILED, 0, devid,
			       progress ? &progress[i] : nullptr};
		if (err_code)
			err_code[i] = QOR_STATUS_FAILED;
	}
	for (unsigned i = 0; i < count; i++)
		bootupdt[i].thread_sts = pthread_create(&thread_id[i], nullptr, qorl_update_adapter_flash, &bootupdt[i]);
	uint16_t mask = 0;
	for (unsigned i = 0; i < count; i++) {
		if (bootupdt[i].thread_sts == 0) {
			void *ret = nullptr;
			pthread_join(thread_id[i], &ret);
			bootupdt[i].ret = reinterpret_cast<uintptr_t>(ret);
		}
		if (err_code)
			err_code[i] = bootupdt[i].code;
		if (bootupdt[i].ret)
			mask = static_cast<uint16_t>(mask | 1u << (bootupdt[i].ret - 1));
	}
	// Nothing of this update stays for the next.
	for (auto &u : bootupdt)
		u = bootupdt_s{};
	if (status)
		*status = mask;
	return QOR_STATUS_OK;
}

} // namespace qorl::flash

using namespace qorl::flash;

extern "C" {

qor_status_t qorl_update_adapter_thread(uint16_t *status, qor_status_t *err_code, int image_count, int card_count)
{
	table_use use(image_count, card_count, true);
	if (use.status() != QOR_STATUS_OK)
		return use.status();
	return update_adapters(status, err_code, use.view(), 0, nullptr);
}

} // extern "C"
