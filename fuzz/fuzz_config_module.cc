// The configuration module compiled into the fuzzer, with the one thing a
// long run needs that the library has no use for: emptying the model between
// inputs so memory stays bounded and each input runs alone.
#include "qorl_config.cc"

namespace qorl::cfg {

void fuzz_reset_model()
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
	for (int i = 0; i < n_tuning; i++)
		tuning_value[i] = tuning_keys[i].initial;
	tuning_set = 0;
	std::memset(ad_power, 0, sizeof ad_power);
	global_power[0] = '\0';
	global_power_set = false;
	ad_next = 0;
}

} // namespace qorl::cfg
