// Virtual port lists and virtual fabric settings of the port slots.
#include <cstdlib>
#include <cstring>
#include <new>

#include "qor/qor_text.h"
#include "qorl_config_int.h"
#include "qorl_int.h"

namespace qorl::cfg {

pthread_mutex_t vportmutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

struct vport_lock {
	vport_lock() { qorl_get_mutex_lock(&vportmutex); }
	~vport_lock() { qorl_release_mutex_lock(&vportmutex); }
	vport_lock(const vport_lock &) = delete;
	vport_lock &operator=(const vport_lock &) = delete;
};

bool valid_slot(int idx) { return idx >= 0 && idx < QORL_CFG_MAX_IOC; }

// Fills the fields after the key from the record's remaining pieces.
void fill(qorl_vf_config_t *e, char **save)
{
	if (char *t = strtok_r(nullptr, ",", save))
		copy_cut(e->nwwn, sizeof e->nwwn, t);
	else
		return;
	if (char *t = strtok_r(nullptr, ",", save))
		filter(t, e->name.symname, sizeof e->name.symname);
	else
		return;
	if (char *t = strtok_r(nullptr, ",", save))
		copy_cut(e->role, sizeof e->role, t);
	else
		return;
	if (char *t = strtok_r(nullptr, ",", save))
		e->vf_id = static_cast<uint16_t>(qorl_config_get_num(t));
}

void role_text(uint32_t roles, char (&out)[16])
{
	static constexpr const char *names[] = {"IM", "TM", "IP"};
	out[0] = '\0';
	for (int b = 0; b < 3; b++)
		if (roles & (1u << b)) {
			if (out[0])
				std::strcat(out, " + ");
			std::strcat(out, names[b]);
		}
}

// Adds or updates the entry of a record text "pwwn,nwwn,symname,role,vf_id".
void set_record(int idx, const char *data)
{
	qorl_ioc_config_t &p = ioc_config_data[idx];
	set_bit(p.flags, QORL_CFG_VPORT);
	char copy[512];
	copy_cut(copy, sizeof copy, data);
	vport_lock lock;
	char *save = nullptr;
	char *first = strtok_r(copy, ",", &save);
	if (!first)
		return;
	// Compared as it would be stored, so an over-long key updates rather than repeats.
	char key[sizeof p.vport->pwwn];
	copy_cut(key, sizeof key, first);
	for (qorl_vf_config_t *e = p.vport; e; e = e->next)
		if (std::strcmp(e->pwwn, key) == 0) {
			fill(e, &save);
			return;
		}
	auto *e = static_cast<qorl_vf_config_t *>(std::calloc(1, sizeof(qorl_vf_config_t)));
	if (!e)
		return;
	p.vpcount++;
	std::memcpy(e->pwwn, key, sizeof key);
	fill(e, &save);
	e->next = p.vport;
	p.vport = e;
	set_bit(p.flags, QORL_CFG_VPORT);
}

} // namespace

void vport_delete(int idx, const char *pwwn)
{
	if (!valid_slot(idx) || !pwwn)
		return;
	vport_lock lock;
	qorl_ioc_config_t &p = ioc_config_data[idx];
	for (qorl_vf_config_t **pp = &p.vport; *pp; pp = &(*pp)->next)
		if (std::strcmp((*pp)->pwwn, pwwn) == 0) {
			qorl_vf_config_t *e = *pp;
			*pp = e->next;
			std::free(e);
			p.vpcount--;
			return;
		}
}

void vport_traverse(FILE *fd, int idx)
{
	if (!valid_slot(idx))
		return;
	vport_lock lock;
	int k = 0;
	for (const qorl_vf_config_t *e = ioc_config_data[idx].vport; e; e = e->next, k++)
		std::fprintf(fd, "qor%d-vport-%d = \"%s,%s,%s,%s,%d\";\n", idx, k, e->pwwn, e->nwwn,
			     e->name.symname, e->role, e->vf_id);
}

bool vport_put(int idx, const qorl_vf_config_t &e)
{
	if (!valid_slot(idx))
		return true;
	vport_lock lock;
	qorl_ioc_config_t &p = ioc_config_data[idx];
	for (qorl_vf_config_t *x = p.vport; x; x = x->next)
		if (std::strcmp(x->pwwn, e.pwwn) == 0) {
			qorl_vf_config_t *next = x->next;
			*x = e;
			x->next = next;
			return true;
		}
	auto *x = static_cast<qorl_vf_config_t *>(std::malloc(sizeof(qorl_vf_config_t)));
	if (!x)
		return false;
	*x = e;
	x->next = p.vport;
	p.vport = x;
	p.vpcount++;
	return true;
}

bool vport_clone(const qorl_vf_config_t *head, qorl_vf_config_t **out)
{
	*out = nullptr;
	qorl_vf_config_t **tail = out;
	for (const qorl_vf_config_t *e = head; e; e = e->next) {
		auto *c = static_cast<qorl_vf_config_t *>(std::malloc(sizeof(qorl_vf_config_t)));
		if (!c) {
			vport_free(*out);
			*out = nullptr;
			return false;
		}
		*c = *e;
		c->next = nullptr;
		*tail = c;
		tail = &c->next;
	}
	return true;
}

void vport_free(qorl_vf_config_t *head)
{
	free_chain(head);
}

bool vport_take(int idx, qorl_vf_config_t **out)
{
	vport_lock lock;
	return vport_clone(ioc_config_data[idx].vport, out);
}

void vport_give(int idx, qorl_vf_config_t *list)
{
	vport_lock lock;
	qorl_ioc_config_t &p = ioc_config_data[idx];
	vport_free(p.vport);
	p.vport = list;
	p.vpcount = 0;
	for (const qorl_vf_config_t *e = list; e; e = e->next)
		p.vpcount++;
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

void qorl_config_set_vportdata(int idx, char *data)
{
	if (valid_slot(idx) && text_ok(data, text_use::fc))
		set_record(idx, data);
}

void qorl_config_vport_add(qorl_t *q, uint16_t vf_id, qor_lport_cfg_t *port_cfg)
{
	int slot = fc_slot(q);
	if (slot < 0 || !port_cfg)
		return;
	char pw[QOR_WWN_TEXT_LEN], nw[QOR_WWN_TEXT_LEN], role[16], rec[512];
	qor_wwn_format(port_cfg->pwwn, pw);
	qor_wwn_format(port_cfg->nwwn, nw);
	role_text(port_cfg->roles, role);
	char sym[sizeof port_cfg->sym_name.symname];
	copy_cut(sym, sizeof sym, port_cfg->sym_name.symname);
	if (!text_ok(sym, text_use::fc))
		return;
	std::snprintf(rec, sizeof rec, "%s,%s,\"%s\",%s,%d", pw, nw, sym, role, vf_id);
	set_record(slot, rec);
}

void qorl_config_vport_del(qorl_t *q, wwn_t vpwwn)
{
	int slot = fc_slot(q);
	if (slot < 0)
		return;
	char pw[QOR_WWN_TEXT_LEN];
	vport_delete(slot, qor_wwn_format(vpwwn, pw));
}

void qorl_config_vf_mode(qorl_t *q, uint16_t vf_id, qor_boolean_t mode)
{
	int slot = fc_slot(q);
	if (slot < 0)
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	if (test_bit(config_all, QORL_CFG_VF_ENABLE) && raw(p.vf_enable) != raw(mode))
		clear_bit(config_all, QORL_CFG_VF_ENABLE);
	if (test_bit(config_all, QORL_CFG_VF_DEFAULT) && p.vf_default_id != vf_id)
		clear_bit(config_all, QORL_CFG_VF_DEFAULT);
	put_bit(p.flags, QORL_CFG_VF_ENABLE, raw(mode) != 0);
	put_bit(p.flags, QORL_CFG_VF_DEFAULT, vf_id != 1);
	p.vf_enable = mode;
	p.vf_default_id = vf_id;
	supersede_port(slot, QORL_CFG_VF_ENABLE);
	supersede_port(slot, QORL_CFG_VF_DEFAULT);
}

void qorl_config_vf_list(qorl_t *q, uint16_t vf_id, qor_boolean_t mode)
{
	int slot = fc_slot(q);
	// The list holds fabrics 0 to 15 only; others change nothing at all.
	if (slot < 0 || vf_id >= 16)
		return;
	qorl_ioc_config_t &p = ioc_config_data[slot];
	uint16_t bit = static_cast<uint16_t>(1u << vf_id);
	bool on = raw(mode) != 0;
	if (test_bit(config_all, QORL_CFG_VF_LIST) && ((p.vf_list & bit) != 0) != on)
		clear_bit(config_all, QORL_CFG_VF_LIST);
	p.vf_list = static_cast<uint16_t>(on ? p.vf_list | bit : p.vf_list & ~bit);
	put_bit(p.flags, QORL_CFG_VF_LIST, p.vf_list != 0);
	supersede_port(slot, QORL_CFG_VF_LIST);
}

} // extern "C"
