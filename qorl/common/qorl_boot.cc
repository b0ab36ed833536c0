// The boot flash update: a package file loaded into the module-wide tables
// and written to one adapter, or to all of them.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qorl_boot.h"
#include "qorl_flash.h"
#include "qorl_ioc.h"
#include "qorl_flash_int.h"
#include "qorl_int.h"

namespace qorl::flash {
namespace {

// A working copy of a member: option ROMs and overlays are changed before
// they are written, and the package stays as loaded for the other workers.
heap_ptr<uint8_t> copy_of(const IMAGEFILE_DATA_T &img)
{
	auto b = heap_alloc<uint8_t>(img.isize ? static_cast<size_t>(img.isize) : 1);
	if (b && img.isize)
		std::memcpy(b.get(), img.ibuf, static_cast<size_t>(img.isize));
	return b;
}

class adapter_update {
public:
	adapter_update(qorl_t *q, uint16_t devid, const tables &t, progress_writer &prog)
		: q_(q), devid_(devid), t_(t), prog_(prog)
	{
		ver_.reset();
	}

	qor_status_t run(uint32_t cardtype)
	{
		qor_status_t st = qorl_ioc_get_attr(q_, &attr_);
		if (st != QOR_STATUS_OK)
			return st;
		const CARD_DATA_T *card = nullptr;
		for (int i = 0; i < t_.card_count && !card; i++)
			if (t_.cards[i].card_type == cardtype)
				card = &t_.cards[i];
		if (!card)
			return QOR_STATUS_CARDTYPE_MISSING;
		oem_ = is_oem_model(attr_.adapter_attr.model_descr, sizeof attr_.adapter_attr.model_descr);
		prog_.total(total_bytes(*card));
		for (const card_image &ci : kCardImages) {
			const IMAGEFILE_DATA_T *img = find_image(t_, card->*ci.name);
			if (!img)
				continue;
			st = write_image(*card, ci.type, *img);
			if (st != QOR_STATUS_OK)
				return st;
		}
		return qorl_flash_enable_optrom(q_);
	}

private:
	uint64_t total_bytes(const CARD_DATA_T &card) const
	{
		uint64_t n = 0;
		for (const card_image &ci : kCardImages)
			if (const IMAGEFILE_DATA_T *img = find_image(t_, card.*ci.name))
				n += static_cast<uint64_t>(img->isize) *
				     (ci.type == QOR_FLASH_PART_FWCFG ? card.portcnt : 1);
		if (oem_ && find_image(t_, card.option_rom_name))
			n += kVpdSize;
		return n;
	}

	qor_status_t write(qor_flash_part_type_t type, uint8_t instance, const uint8_t *data, size_t size)
	{
		prog_.current(type, instance);
		qor_status_t st = qorl_flash_update_part(q_, type, instance, data, QOR_FALSE, static_cast<uint32_t>(size));
		if (st == QOR_STATUS_OK)
			prog_.written(type, instance, size);
		return st;
	}

	qor_status_t write_image(const CARD_DATA_T &card, qor_flash_part_type_t type, const IMAGEFILE_DATA_T &img)
	{
		const size_t size = static_cast<size_t>(img.isize);
		if (type == QOR_FLASH_PART_FWIMG)
			return write(type, 0, img.ibuf, size);
		if (type == QOR_FLASH_PART_FWCFG) {
			for (int i = 0; i < card.portcnt; i++)
				if (qor_status_t st = write(type, card.port[i], img.ibuf, size); st != QOR_STATUS_OK)
					return st;
			return QOR_STATUS_OK;
		}
		auto buf = copy_of(img);
		if (!buf)
			return QOR_STATUS_ENOMEM;
		if (type == QOR_FLASH_PART_OPTROM || type == QOR_FLASH_PART_OPTROM2) {
			qor_status_t st =
				update_device_id_chksum({buf.get(), size}, devid_, type == QOR_FLASH_PART_OPTROM, ver_);
			if (st != QOR_STATUS_OK)
				return st;
		}
		swap32(buf.get(), size);
		qor_status_t st = write(type, 0, buf.get(), size);
		if (st == QOR_STATUS_OK && type == QOR_FLASH_PART_OPTROM && oem_)
			st = write_vpd();
		return st;
	}

	qor_status_t write_vpd()
	{
		vpd_image vpd;
		rebuild_vpd(attr_.adapter_attr, ver_.text, vpd, nullptr);
		return write(QOR_FLASH_PART_VPD, 0, vpd.data(), vpd.size());
	}

	qorl_t *q_;
	uint16_t devid_;
	const tables &t_;
	progress_writer &prog_;
	qor_ioc_attr_t attr_{};
	fwver ver_; // this adapter's own: workers never share it
	bool oem_ = false;
};

template <class T> void store(T &field, T v)
{
	__atomic_store_n(&field, v, __ATOMIC_RELEASE);
}

// A failure before flashing: the status in every err_code entry.
qor_status_t fail_all(qor_status_t *err_code, qor_status_t st)
{
	if (err_code)
		for (int i = 0; i < QORL_BOOT_MAX_ADAPTERS; i++)
			err_code[i] = st;
	return st;
}

} // namespace

void progress_writer::start(uint32_t ad_id)
{
	if (!p_)
		return;
	store(p_->nwritten, 0u);
	store(p_->bytes_done, uint64_t{0});
	store(p_->bytes_total, uint64_t{0});
	store(p_->part_type, 0u);
	store(p_->part_instance, 0u);
	store(p_->status, static_cast<uint32_t>(QOR_STATUS_FAILED));
	store(p_->ad_id, ad_id);
	store(p_->state, static_cast<uint32_t>(QORL_BOOT_RUNNING));
}

void progress_writer::total(uint64_t bytes)
{
	if (p_)
		store(p_->bytes_total, bytes);
}

void progress_writer::current(uint32_t type, uint32_t instance)
{
	if (!p_)
		return;
	store(p_->part_type, type);
	store(p_->part_instance, instance);
}

void progress_writer::written(uint32_t type, uint32_t instance, uint64_t bytes)
{
	if (!p_)
		return;
	uint32_t n = __atomic_load_n(&p_->nwritten, __ATOMIC_RELAXED);
	if (n < QORL_BOOT_MAX_WRITES) {
		store(p_->written[n].type, type);
		store(p_->written[n].instance, instance);
		store(p_->nwritten, n + 1);
	}
	store(p_->bytes_done, __atomic_load_n(&p_->bytes_done, __ATOMIC_RELAXED) + bytes);
	store(p_->part_type, 0u);
	store(p_->part_instance, 0u);
}

qor_status_t progress_writer::done(qor_status_t st)
{
	if (p_) {
		store(p_->status, static_cast<uint32_t>(st));
		store(p_->state, static_cast<uint32_t>(QORL_BOOT_DONE));
	}
	return st;
}

qor_status_t boot_flash_data(qorl_t *q, uint16_t devid, uint32_t cardtype, const tables &t, progress_writer &prog)
{
	adapter_update u(q, devid, t, prog);
	return prog.done(u.run(cardtype));
}

} // namespace qorl::flash

using namespace qorl::flash;

extern "C" {

qor_status_t qorl_boot_flash_data(qorl_t *qorl, uint16_t devid, uint32_t cardtype, int image_count, int card_count)
{
	if (!qorl)
		return QOR_STATUS_EINVAL;
	table_use use(image_count, card_count, false);
	if (use.status() != QOR_STATUS_OK)
		return use.status();
	progress_writer none(nullptr);
	return boot_flash_data(qorl, devid, cardtype, use.view(), none);
}

qor_status_t qorl_boot_fwupdate_progress(qorl_t *qorl, const char *fwimgfile, uint16_t devid, uint16_t *status,
					 qor_status_t *err_code, qorl_boot_progress_t *progress)
{
	if (devid != 0 && !devid_accepted(devid))
		return fail_all(err_code, QOR_STATUS_INVALID_DEVID);
	uint32_t cardtype = 0;
	if (qorl) {
		qor_ioc_attr_t attr{};
		if (qorl_ioc_get_attr(qorl, &attr) == QOR_STATUS_OK) {
			// A device ID the caller gives stands for the whole update.
			if (devid == 0)
				devid = attr.pci_attr.device_id;
			cardtype = attr.adapter_attr.card_type;
		}
	}
	// The tables are the process's: this update has them from the load to its end.
	if (qor_status_t st = take_tables(holder::update); st != QOR_STATUS_OK)
		return fail_all(err_code, st);
	FILE *fp = fwimgfile ? std::fopen(fwimgfile, "rbe") : nullptr;
	int image_count = 0, card_count = 0;
	qor_status_t st = fp ? load_tables(fp, image_count, card_count) : QOR_STATUS_FAILED;
	if (fp)
		std::fclose(fp);
	if (st != QOR_STATUS_OK) {
		fail_all(err_code, st);
	} else if (qorl) {
		progress_writer prog(progress);
		prog.start(0);
		st = boot_flash_data(qorl, devid, cardtype, held_tables(), prog);
	} else {
		st = update_adapters(status, err_code, held_tables(), devid, progress);
	}
	drop_tables();
	return st;
}

qor_status_t qorl_boot_fwupdate(qorl_t *qorl, const char *fwimgfile, uint16_t devid, uint16_t *status,
				qor_status_t *err_code)
{
	return qorl_boot_fwupdate_progress(qorl, fwimgfile, devid, status, err_code, nullptr);
}

void qorl_boot_progress_get(const qorl_boot_progress_t *live, qorl_boot_progress_t *snapshot)
{
	if (!live || !snapshot)
		return;
	*snapshot = qorl_boot_progress_t{};
	snapshot->state = __atomic_load_n(&live->state, __ATOMIC_ACQUIRE);
	snapshot->ad_id = __atomic_load_n(&live->ad_id, __ATOMIC_ACQUIRE);
	snapshot->status = __atomic_load_n(&live->status, __ATOMIC_ACQUIRE);
	snapshot->part_type = __atomic_load_n(&live->part_type, __ATOMIC_ACQUIRE);
	snapshot->part_instance = __atomic_load_n(&live->part_instance, __ATOMIC_ACQUIRE);
	snapshot->bytes_done = __atomic_load_n(&live->bytes_done, __ATOMIC_ACQUIRE);
	snapshot->bytes_total = __atomic_load_n(&live->bytes_total, __ATOMIC_ACQUIRE);
	uint32_t n = __atomic_load_n(&live->nwritten, __ATOMIC_ACQUIRE);
	snapshot->nwritten = n < QORL_BOOT_MAX_WRITES ? n : QORL_BOOT_MAX_WRITES;
	for (uint32_t i = 0; i < snapshot->nwritten; i++) {
		snapshot->written[i].type = __atomic_load_n(&live->written[i].type, __ATOMIC_ACQUIRE);
		snapshot->written[i].instance = __atomic_load_n(&live->written[i].instance, __ATOMIC_ACQUIRE);
	}
}

} // extern "C"
