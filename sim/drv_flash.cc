// Flash requests of both drivers: partition attributes, read, write, erase,
// the manufacturing block and the option ROM switch. Every function of a
// card reaches the card's one flash.
#include "flash_image.h"
#include "sim.h"

#include <cerrno>
#include <cstring>

namespace qorsim {
namespace {

Adapter &card(Req &r)
{
	return r.m.adapters[r.fn->adapter];
}

uint32_t &status_of(Req &r)
{
	return r.as<qor_ioctl_gen_t>().status;
}

// Writing boot code turns the option ROM off until it is enabled again, so
// a card never starts half-written boot code.
bool boot_code(uint32_t type)
{
	return type == QOR_FLASH_PART_OPTROM || type == QOR_FLASH_PART_OPTROM2 || type == QOR_FLASH_PART_BOOTOVL ||
	       type == QOR_FLASH_PART_PXEOVL;
}

// A partition's new contents: boot code off if it was boot code, and the
// card's flash kept.
void changed(Req &r, Flash &f, const FlashPart &p)
{
	if (boot_code(p.type))
		f.optrom_on = false;
	flash_save(card(r));
}

// Time a write or erase takes: on the virtual clock, or real time waited
// once the model is released.
void takes(Req &r, uint64_t ns)
{
	if (!ns)
		return;
	if (r.m.flash_wall)
		r.wall_ns = ns;
	else
		advance_locked(r.m, ns);
}

uint32_t part_status(const FlashPart &p)
{
	if (p.data.empty())
		return QOR_FLASH_STATUS_EMPTY;
	if (p.type == QOR_FLASH_PART_FWIMG && image::firmware_version(p.data).empty())
		return QOR_FLASH_STATUS_CKFAIL;
	return QOR_FLASH_STATUS_GOOD;
}

int h_attr(Req &r)
{
	auto &v = r.as<qor_ioctl_flash_attr_t>();
	Flash &f = flash_of(r.m, card(r));
	v.attr = qor_flash_attr_t{};
	v.attr.status = QOR_STATUS_OK;
	for (const auto &p : f.parts) {
		if (v.attr.npart == QOR_FLASH_PART_MAX)
			break;
		qor_flash_part_attr_t &a = v.attr.part[v.attr.npart++];
		a.part_type = p.type;
		a.part_instance = p.instance;
		a.part_off = p.off;
		a.part_size = p.size;
		a.part_len = static_cast<uint32_t>(p.data.size());
		a.part_status = part_status(p);
	}
	v.status = QOR_STATUS_OK;
	return 0;
}

// A read, write or erase: its request, the card's flash and the partition
// it names, null when it names none (the status says why).
struct Target {
	qor_ioctl_flash_t &v;
	Flash &f;
	FlashPart *p;
};

Target target(Req &r)
{
	auto &v = r.as<qor_ioctl_flash_t>();
	Flash &f = flash_of(r.m, card(r));
	FlashPart *p = flash_part(f, v.type, v.instance);
	v.status = !p || v.bufsz < 0 ? QOR_STATUS_EINVAL : QOR_STATUS_OK;
	return {v, f, v.status == QOR_STATUS_OK ? p : nullptr};
}

int h_read(Req &r)
{
	auto [v, f, p] = target(r);
	if (!p) {
		v.bufsz = 0;
		return 0;
	}
	size_t n = std::min(p->data.size(), static_cast<size_t>(v.bufsz));
	if (int e = copy_to_user(v.buf_ptr, p->data.data(), n))
		return e;
	v.bufsz = static_cast<int32_t>(n);
	return 0;
}

int h_write(Req &r)
{
	auto [v, f, p] = target(r);
	if (!p)
		return 0;
	if (static_cast<uint32_t>(v.bufsz) > p->size) {
		v.status = QOR_STATUS_FLASH_BAD_LEN;
		return 0;
	}
	std::vector<uint8_t> data(static_cast<size_t>(v.bufsz));
	if (int e = copy_from_user(data.data(), v.buf_ptr, data.size()))
		return e;
	takes(r, r.m.flash_write_ns);
	if (FlashFault *x = flash_fault(f, QORSIM_FLASH_WRITE_FAIL, p->type, p->instance)) {
		v.status = x->status ? x->status : static_cast<uint32_t>(QOR_STATUS_FAILED);
		return 0;
	}
	if (flash_fault(f, QORSIM_FLASH_READBACK_DIFFERS, p->type, p->instance) && !data.empty())
		data[data.size() / 2] ^= 0x5a;
	p->data = std::move(data);
	r.held = true;
	changed(r, f, *p);
	return 0;
}

int h_erase(Req &r)
{
	auto [v, f, p] = target(r);
	if (!p)
		return 0;
	takes(r, r.m.flash_erase_ns);
	if (flash_fault(f, QORSIM_FLASH_ERASE_TIMEOUT, p->type, p->instance)) {
		v.status = QOR_STATUS_ETIMER;
		return 0;
	}
	p->data.clear();
	changed(r, f, *p);
	return 0;
}

int h_mfg(Req &r)
{
	auto &v = r.as<qor_ioctl_flash_mfg_t>();
	FlashPart *p = flash_part(flash_of(r.m, card(r)), QOR_FLASH_PART_MFG, 0);
	if (!p) {
		v.status = QOR_STATUS_EINVAL;
		return 0;
	}
	const auto *b = reinterpret_cast<const uint8_t *>(&v.mfgblk);
	p->data.assign(b, b + sizeof v.mfgblk);
	flash_save(card(r));
	v.status = QOR_STATUS_OK;
	return 0;
}

template <bool On> int h_optrom(Req &r)
{
	flash_of(r.m, card(r)).optrom_on = On;
	flash_save(card(r));
	status_of(r) = QOR_STATUS_OK;
	return 0;
}

} // namespace
} // namespace qorsim

using namespace qorsim;

QORSIM_HANDLER(FLASH_GET_ATTR,       h_attr);
QORSIM_HANDLER(FLASH_ERASE_PART,     h_erase);
QORSIM_HANDLER(FLASH_UPDATE_PART,    h_write);
QORSIM_HANDLER(FLASH_READ_PART,      h_read);
QORSIM_HANDLER(FLASH_MFG,            h_mfg);
QORSIM_HANDLER(FLASH_ENABLE_OPTROM,  h_optrom<true>);
QORSIM_HANDLER(FLASH_DISABLE_OPTROM, h_optrom<false>);
