// The configuration file's life in this process: loading keeps a copy of
// the model as loaded; a write-back of the loaded file takes the file's
// lock, reads the file again, applies onto it what this process changed
// since it loaded, and replaces the file, so that programs writing at the
// same time do not undo each other's settings.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "qorl_config_int.h"
#include "qorl_file.h"
#include "qorl_int.h"

namespace qorl::cfg {

namespace {

// The whole model. Each slot's vport pointer heads this copy's own list.
struct model {
	qorl_ad_config_t ad[QORL_CFG_MAX_AD];
	qorl_ioc_config_t ioc[QORL_CFG_MAX_IOC];
	uint32_t all[4];
	slot_key keys[QORL_CFG_MAX_IOC];
	driver_params params;
	int ad_next;
	kept_lines kept;

	~model()
	{
		for (auto &p : ioc)
			vport_free(p.vport);
	}
};

// A zeroed model from the heap (it is large), or null.
std::unique_ptr<model> new_model()
{
	std::unique_ptr<model> m(new (std::nothrow) model());
	if (m)
		for (int i = 0; i < n_tuning; i++)
			m->params.tuning[i] = tuning_keys[i].initial;
	return m;
}

// A copy of the live model into m; false when out of memory.
bool take(model &m)
{
	for (auto &p : m.ioc)
		vport_free(p.vport);
	std::memcpy(m.ad, ad_config_data, sizeof m.ad);
	std::memcpy(m.ioc, ioc_config_data, sizeof m.ioc);
	bool ok = true;
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++)
		if (!ok || !vport_take(i, &m.ioc[i].vport)) {
			m.ioc[i].vport = nullptr;
			ok = false;
		}
	std::memcpy(m.all, config_all, sizeof m.all);
	std::memcpy(m.keys, slot_keys, sizeof m.keys);
	m.params = params;
	m.ad_next = ad_next;
	return ok && m.kept.copy_from(carried);
}

// m becomes the live model; m keeps no lists.
void put_back(model &m)
{
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++) {
		qorl_vf_config_t *list = m.ioc[i].vport;
		m.ioc[i].vport = nullptr;
		vport_give(i, nullptr);
		std::memcpy(&ioc_config_data[i], &m.ioc[i], sizeof m.ioc[i]);
		ioc_config_data[i].vport = nullptr;
		vport_give(i, list);
	}
	std::memcpy(ad_config_data, m.ad, sizeof m.ad);
	std::memcpy(config_all, m.all, sizeof m.all);
	std::memcpy(slot_keys, m.keys, sizeof m.keys);
	params = m.params;
	ad_next = m.ad_next;
	carried.take_from(m.kept);
}

// The model as loaded, and the file it was loaded from.
std::unique_ptr<model> loaded_copy;
char loaded_path[qorl::file_replacement::path_room];

// A file's whole text in a heap buffer.
struct file_text {
	char *p = nullptr;
	size_t n = 0;
	~file_text() { std::free(p); }
	std::string_view view() const { return {p ? p : "", n}; }
};

// Reads the file at path; a missing file is an empty one. QOR_STATUS_EFOPEN
// when it cannot be opened otherwise, QOR_STATUS_EIO when reading fails,
// QOR_STATUS_ENOMEM.
qor_status_t slurp(const char *path, file_text &t)
{
	FILE *f = std::fopen(path, "r");
	if (!f)
		return errno == ENOENT ? QOR_STATUS_OK : QOR_STATUS_EFOPEN;
	qor_status_t st = QOR_STATUS_OK;
	size_t cap = 0;
	for (;;) {
		if (t.n == cap) {
			size_t grow = cap ? cap * 2 : 8192;
			char *q = static_cast<char *>(std::realloc(t.p, grow));
			if (!q) {
				st = QOR_STATUS_ENOMEM;
				break;
			}
			t.p = q;
			cap = grow;
		}
		size_t got = std::fread(t.p + t.n, 1, cap - t.n, f);
		t.n += got;
		if (got == 0) {
			if (std::ferror(f))
				st = QOR_STATUS_EIO;
			break;
		}
	}
	std::fclose(f);
	return st;
}

// ---- applying one process's changes onto the file as it is now ---------------------

// The parts of the model keyed by their own identity: an adapter slot by its
// id, the FC side of a port slot by its WWN, the Ethernet side by its MAC.
enum class side { ad, fc, eth };

constexpr int key_of(side sd)
{
	return sd == side::ad ? QORL_CFG_AD_ID : sd == side::fc ? QORL_CFG_PORT_WWN : QORL_CFG_PORT_MAC;
}

constexpr int slots_of(side sd)
{
	return sd == side::ad ? QORL_CFG_MAX_AD : QORL_CFG_MAX_IOC;
}

bool on_side(const setting &s, side sd)
{
	if (s.syntax == syn::none || s.code == QORL_CFG_VPORT)
		return false;
	if (sd == side::ad)
		return s.ad;
	return !s.ad && ((s.where & eth) != 0) == (sd == side::eth);
}

// A slot's record in a copy of the model, or in the live model (m null).
const char *record(const model *m, const setting &s, int i)
{
	if (s.ad)
		return reinterpret_cast<const char *>(m ? &m->ad[i] : &ad_config_data[i]);
	return reinterpret_cast<const char *>(m ? &m->ioc[i] : &ioc_config_data[i]);
}

const uint32_t *flags(const model *m, side sd, int i)
{
	if (sd == side::ad)
		return m ? m->ad[i].flags : ad_config_data[i].flags;
	return m ? m->ioc[i].flags : ioc_config_data[i].flags;
}

bool has(const model *m, side sd, int i, int code)
{
	return test_bit(flags(m, sd, i), code);
}

const char *value_of(const model *m, const setting &s, int i)
{
	if (s.code == QORL_CFG_AD_POWER)
		return (m ? m->params : params).ad_power[i];
	return record(m, s, i) + s.off;
}

bool same_value(const model *a, const model *b, const setting &s, int i, int j)
{
	const char *x = value_of(a, s, i), *y = value_of(b, s, j);
	if (s.syntax == syn::text || s.syntax == syn::power)
		return std::strcmp(x, y) == 0;
	return std::memcmp(x, y, s.size) == 0;
}

// Whether the setting is one this process changed: its presence differs, or
// it is present with another value. A value kept behind a clear bit is not
// in the file and changes nothing there.
bool changed(const model &base, const model &mine, side sd, int i, int code)
{
	bool now = has(&mine, sd, i, code);
	if (now != has(&base, sd, i, code))
		return true;
	return now && !same_value(&mine, &base, table[code], i, i);
}

bool same_key(const model *a, int i, const model *b, int j, side sd)
{
	switch (sd) {
	case side::ad: return std::strcmp(a ? a->ad[i].id : ad_config_data[i].id, b ? b->ad[j].id : ad_config_data[j].id) == 0;
	case side::fc: return (a ? a->keys[i] : slot_keys[i]).wwn == (b ? b->keys[j] : slot_keys[j]).wwn;
	case side::eth: return std::strcmp(a ? a->ioc[i].mac : ioc_config_data[i].mac, b ? b->ioc[j].mac : ioc_config_data[j].mac) == 0;
	}
	return false;
}

// Copies setting code of slot i of mine into live slot t, presence included.
void copy_setting(const model &mine, side sd, int i, int code, int t)
{
	const setting &s = table[code];
	put_bit(const_cast<uint32_t *>(flags(nullptr, sd, t)), code, has(&mine, sd, i, code));
	if (code == QORL_CFG_AD_POWER)
		std::memcpy(params.ad_power[t], mine.params.ad_power[i], sizeof params.ad_power[t]);
	else
		std::memcpy(const_cast<char *>(record(nullptr, s, t)) + s.off, value_of(&mine, s, i), s.size);
	if (code == QORL_CFG_PORT_WWN || code == QORL_CFG_PORT_MAC)
		key_from_text(code, t);
	if (sd == side::ad)
		supersede_adapter(ad_config_data[t].id, code);
	else
		supersede_port(t, code);
}

// The live slot that slot i of mine is: the one with the same key (the k-th
// of that key, when several share it), or a free one that gets the key.
// A slot without a key is the live slot of the same number, if that one has
// no key either. -1 when there is none.
int target(const model &mine, side sd, int i)
{
	const int key = key_of(sd), n = slots_of(sd);
	if (!has(&mine, sd, i, key))
		return has(nullptr, sd, i, key) ? -1 : i;
	int k = 0;
	for (int j = 0; j < i; j++)
		k += has(&mine, sd, j, key) && same_key(&mine, j, &mine, i, sd);
	for (int j = 0; j < n; j++)
		if (has(nullptr, sd, j, key) && same_key(nullptr, j, &mine, i, sd) && k-- == 0)
			return j;
	int t = !has(nullptr, sd, i, key) ? i : -1;
	for (int j = 0; j < n && t < 0; j++)
		if (!has(nullptr, sd, j, key))
			t = j;
	if (t >= 0)
		copy_setting(mine, sd, i, key, t);
	return t;
}

bool same_entry(const qorl_vf_config_t &a, const qorl_vf_config_t &b)
{
	return std::strcmp(a.pwwn, b.pwwn) == 0 && std::strcmp(a.nwwn, b.nwwn) == 0 &&
	       std::strcmp(a.role, b.role) == 0 && std::strcmp(a.name.symname, b.name.symname) == 0 &&
	       a.vf_id == b.vf_id;
}

const qorl_vf_config_t *entry_of(const qorl_vf_config_t *list, const char *pwwn)
{
	for (const qorl_vf_config_t *e = list; e; e = e->next)
		if (std::strcmp(e->pwwn, pwwn) == 0)
			return e;
	return nullptr;
}

bool vports_changed(const model &base, const model &mine, int i)
{
	if (has(&base, side::fc, i, QORL_CFG_VPORT) != has(&mine, side::fc, i, QORL_CFG_VPORT))
		return true;
	const qorl_vf_config_t *a = base.ioc[i].vport, *b = mine.ioc[i].vport;
	for (; a && b; a = a->next, b = b->next)
		if (!same_entry(*a, *b))
			return true;
	return a || b;
}

// Entries this process added or changed are put, those it deleted deleted;
// the other entries of the live list stay.
bool apply_vports(const model &base, const model &mine, int i, int t)
{
	const qorl_vf_config_t *was = base.ioc[i].vport, *now = mine.ioc[i].vport;
	// Put from the tail, so that entries new to the live list keep mine's order.
	size_t n = 0;
	for (const qorl_vf_config_t *e = now; e; e = e->next)
		n++;
	auto order = qorl::heap_alloc<const qorl_vf_config_t *>(n * sizeof(const qorl_vf_config_t *) + 1);
	if (!order)
		return false;
	n = 0;
	for (const qorl_vf_config_t *e = now; e; e = e->next)
		order.get()[n++] = e;
	bool ok = true;
	while (n-- > 0)
		if (const qorl_vf_config_t *e = order.get()[n], *b = entry_of(was, e->pwwn); !b || !same_entry(*b, *e))
			ok &= vport_put(t, *e);
	for (const qorl_vf_config_t *b = was; b; b = b->next)
		if (!entry_of(now, b->pwwn))
			vport_delete(t, b->pwwn);
	if (has(&mine, side::fc, i, QORL_CFG_VPORT))
		set_bit(ioc_config_data[t].flags, QORL_CFG_VPORT);
	return ok;
}

// False when a change could not be applied for want of memory.
bool apply_slot(const model &base, const model &mine, side sd, int i)
{
	int codes[max_code + 1], n = 0;
	bool key_changed = false;
	for (const setting &s : table)
		if (on_side(s, sd) && changed(base, mine, sd, i, s.code)) {
			if (s.code == key_of(sd))
				key_changed = true;
			else
				codes[n++] = s.code;
		}
	const bool vp = sd == side::fc && vports_changed(base, mine, i);
	if (!n && !key_changed && !vp)
		return true;
	const int t = target(mine, sd, i);
	if (t < 0)
		return true;
	if (key_changed)
		copy_setting(mine, sd, i, key_of(sd), t);
	for (int k = 0; k < n; k++)
		copy_setting(mine, sd, i, codes[k], t);
	return !vp || apply_vports(base, mine, i, t);
}

// Onto the live model (the file as just read): what mine changed since base.
bool apply(const model &base, const model &mine)
{
	bool ok = true;
	for (side sd : {side::ad, side::fc, side::eth})
		for (int i = 0; i < slots_of(sd); i++)
			ok &= apply_slot(base, mine, sd, i);
	for (int c = 0; c <= max_code; c++)
		if (test_bit(base.all, c) != test_bit(mine.all, c))
			put_bit(config_all, c, test_bit(mine.all, c));
	for (int i = 0; i < n_tuning; i++) {
		const uint32_t bit = 1u << i;
		const bool now = mine.params.tuning_set & bit;
		if (now != bool(base.params.tuning_set & bit) || (now && mine.params.tuning[i] != base.params.tuning[i])) {
			params.tuning_set = (params.tuning_set & ~bit) | (mine.params.tuning_set & bit);
			params.tuning[i] = mine.params.tuning[i];
		}
	}
	const auto &mp = mine.params, &bp = base.params;
	if (mp.global_power_set != bp.global_power_set ||
	    (mp.global_power_set && std::strcmp(mp.global_power, bp.global_power) != 0)) {
		params.global_power_set = mp.global_power_set;
		std::memcpy(params.global_power, mp.global_power, sizeof params.global_power);
	}
	return ok;
}

bool same_vports(const qorl_vf_config_t *a, const qorl_vf_config_t *b)
{
	for (; a && b; a = a->next, b = b->next)
		if (!same_entry(*a, *b))
			return false;
	return !a && !b;
}

bool same_kept(const kept_lines &a, const kept_lines &b)
{
	const kept_lines::line *x = a.first(), *y = b.first();
	for (; x && y; x = x->next, y = y->next)
		if (x->len != y->len || x->kind != y->kind || x->slot != y->slot || x->code != y->code ||
		    std::strcmp(x->id, y->id) != 0 || std::memcmp(x->text(), y->text(), x->len) != 0)
			return false;
	return !x && !y;
}

// Whether two copies hold the same model. Bytes are compared whole, padding
// included: a false "differ" only costs a second read of the file. The
// adapter counter is not compared: a load fills both from the live one.
bool same_model(const model &a, const model &b)
{
	constexpr size_t before = offsetof(qorl_ioc_config_t, vport);
	constexpr size_t after = offsetof(qorl_ioc_config_t, vpcount);
	if (std::memcmp(a.ad, b.ad, sizeof a.ad) != 0 || std::memcmp(a.all, b.all, sizeof a.all) != 0 ||
	    std::memcmp(a.keys, b.keys, sizeof a.keys) != 0 ||
	    std::memcmp(&a.params, &b.params, sizeof a.params) != 0)
		return false;
	for (int i = 0; i < QORL_CFG_MAX_IOC; i++) {
		const char *x = reinterpret_cast<const char *>(&a.ioc[i]), *y = reinterpret_cast<const char *>(&b.ioc[i]);
		if (std::memcmp(x, y, before) != 0 ||
		    std::memcmp(x + after, y + after, sizeof(qorl_ioc_config_t) - after) != 0 ||
		    !same_vports(a.ioc[i].vport, b.ioc[i].vport))
			return false;
	}
	return same_kept(a.kept, b.kept);
}

// The model as text into a new file at path.
qor_status_t render_to(const char *path)
{
	qorl::file_replacement out;
	if (qor_status_t st = out.open(path); st != QOR_STATUS_OK)
		return st;
	render(out.stream());
	return out.commit();
}

// The write-back of the loaded file: under its lock, this process's changes
// onto the file as it is now. The live model is then that file and the copy
// as loaded is renewed; after a failure the live model is as it was.
qor_status_t merge_to(const char *path)
{
	qorl::file_replacement out;
	if (qor_status_t st = out.open(path); st != QOR_STATUS_OK)
		return st;
	qorl::file_lock lock;
	if (qor_status_t st = lock.take(path); st != QOR_STATUS_OK)
		return st;
	file_text text;
	if (qor_status_t st = slurp(path, text); st != QOR_STATUS_OK)
		return st;
	auto mine = new_model(), now = new_model(), empty = new_model();
	if (!mine || !now || !empty || !take(*mine))
		return QOR_STATUS_ENOMEM;
	put_back(*empty);
	if (!read_text(text.view(), nullptr) || !apply(*loaded_copy, *mine)) {
		put_back(*mine);
		return QOR_STATUS_ENOMEM;
	}
	render(out.stream());
	if (qor_status_t st = out.commit(); st != QOR_STATUS_OK) {
		put_back(*mine);
		return st;
	}
	// Without a copy, the old one stays: the next write-back applies this
	// one's changes again, which are in the file already.
	if (take(*now))
		loaded_copy = std::move(now);
	return QOR_STATUS_OK;
}

} // namespace

void forget_loaded()
{
	loaded_copy.reset();
	loaded_path[0] = '\0';
}

} // namespace qorl::cfg

using namespace qorl::cfg;

extern "C" {

qor_status_t qorl_config_load(char *path)
{
	// A missing file reads as an empty one; one that cannot be read leaves
	// everything as it was.
	file_text text;
	if (!path || slurp(path, text) != QOR_STATUS_OK)
		return QOR_STATUS_OK;
	// The copy as loaded gets the file as the live model does: both add the
	// file to what they held. While the live model holds no change of its own
	// the two are one model, and the file is read once.
	auto mine = new_model(), loaded = new_model(), empty = loaded_copy ? nullptr : new_model();
	if (!mine || !loaded || (!loaded_copy && !empty) || !take(*mine))
		return QOR_STATUS_OK;
	model &base = loaded_copy ? *loaded_copy : *empty;
	bool have_copy;
	if (same_model(*mine, base)) {
		(void)read_text(text.view(), path);
		have_copy = take(*loaded);
	} else {
		put_back(base);
		// Both fill the adapter slots from the same point, the live model's.
		ad_next = mine->ad_next;
		(void)read_text(text.view(), nullptr);
		have_copy = take(*loaded);
		put_back(*mine);
		(void)read_text(text.view(), path);
	}
	loaded_copy.reset();
	if (have_copy && std::strlen(path) < sizeof loaded_path) {
		loaded_copy = std::move(loaded);
		std::strcpy(loaded_path, path);
	}
	return QOR_STATUS_OK;
}

qor_status_t qorl_config_sync(char *path)
{
	if (!path || !*path)
		return QOR_STATUS_EFOPEN;
	if (loaded_copy && std::strcmp(loaded_path, path) == 0)
		return merge_to(path);
	return render_to(path);
}

void qorl_config_unload(void) {}

} // extern "C"
