// Fuzzes the configuration reader with whole files (kept lines included),
// runs setters on what it read, then writes the model back into memory. The model is emptied after every input, so memory stays
// bounded over any number of runs and each input runs alone.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qorl_config_int.h"

namespace {

using namespace qorl::cfg;

// Empties the model, as a fresh process would hold it.
void reset_model()
{
	qorl_get_mutex_lock(&vportmutex);
	for (auto &p : ioc_config_data) {
		while (qorl_vf_config_t *e = p.vport) {
			p.vport = e->next;
			std::free(e);
		}
		p.vpcount = 0;
	}
	qorl_release_mutex_lock(&vportmutex);
	std::memset(ad_config_data, 0, sizeof ad_config_data);
	std::memset(ioc_config_data, 0, sizeof ioc_config_data);
	std::memset(config_all, 0, sizeof config_all);
	std::memset(slot_keys, 0, sizeof slot_keys);
	std::memset(&params, 0, sizeof params);
	for (int i = 0; i < n_tuning; i++)
		params.tuning[i] = tuning_keys[i].initial;
	ad_next = 0;
	carried.clear();
	forget_loaded();
}

int memfd = -1;
char path[64];

void write_back()
{
	char *buf = nullptr;
	size_t len = 0;
	FILE *f = open_memstream(&buf, &len);
	if (!f)
		return;
	qorl_config_ad_update(f);
	qorl_config_ioc_update(f);
	std::fclose(f);
	std::free(buf);
}

// Run-time setters on the first port, driven by the input's first bytes.
void setters(const uint8_t *data, size_t size)
{
	if (size < 8 || qorl_config_ioc_get_num() == 0)
		return;
	qorl_t q{};
	q.ioc_type = QOR_IOC_TYPE_FC;
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (ioc_config_data[i].pwwn[0]) {
			q.pwwn = slot_keys[i].wwn;
			break;
		}
	qorl_config_speed(&q, (qor_port_speed_t)(data[0] % 32));
	qorl_config_vf_list(&q, data[1], (qor_boolean_t)(data[2] & 1));
	qorl_config_iocfc_intr(&q, (qor_boolean_t)(data[3] & 1), data[4], data[5]);
	uint32_t words[2] = {data[6], data[7]};
	qorl_config_auth_secretstring(&q, words, data[6] % 3);
	qor_lport_cfg_t lp{};
	std::memcpy(&lp.pwwn, data, 8);
	std::memcpy(lp.sym_name.symname, data, size < sizeof lp.sym_name.symname ? size : sizeof lp.sym_name.symname);
	lp.roles = data[2];
	qorl_config_vport_add(&q, data[3], &lp);
	if (data[4] & 1)
		qorl_config_vport_del(&q, lp.pwwn);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
	memfd = memfd_create("qor.conf", MFD_CLOEXEC);
	if (memfd < 0)
		std::abort();
	std::snprintf(path, sizeof path, "/proc/self/fd/%d", memfd);
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	if (ftruncate(memfd, 0) != 0 || pwrite(memfd, data, size, 0) != static_cast<ssize_t>(size))
		std::abort();
	qorl_config_load(path);
	setters(data, size);
	write_back();
	reset_model();
	return 0;
}
