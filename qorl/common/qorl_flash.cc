// Flash partitions: attributes, read, write with read-back, erase, the
// manufacturing block and the option ROM switch. The driver moves a whole
// partition per request through a buffer of ours.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qorl_file.h"
#include "qorl_flash.h"
#include "qorl_flash_int.h"
#include "qorl_int.h"

namespace qorl {
namespace {

// One partition request on `buf` of `size` bytes.
template <uint32_t Code>
outcome part_request(qorl_t *q, qor_flash_part_type_t type, uint8_t instance, void *buf, uint32_t size,
		     int32_t *delivered = nullptr)
{
	qor_ioctl_flash_t rec{};
	rec.type = static_cast<uint32_t>(type);
	rec.instance = instance;
	rec.bufsz = static_cast<int32_t>(size);
	rec.buf_ptr = reinterpret_cast<uintptr_t>(buf);
	outcome o = exec<Code>(q, rec);
	if (delivered)
		*delivered = rec.bufsz;
	return o;
}

// The bytes a read delivered into the file; the old file stays unless all
// of them reach the new one.
qor_status_t write_file(const char *path, const uint8_t *buf, size_t n)
{
	file_replacement f;
	if (f.open(path) != QOR_STATUS_OK)
		return QOR_STATUS_EFOPEN;
	if (n && std::fwrite(buf, 1, n, f.stream()) != n)
		return QOR_STATUS_FAILED;
	return f.commit() == QOR_STATUS_OK ? QOR_STATUS_OK : QOR_STATUS_FAILED;
}

// The whole file in a new heap block of its stat size.
qor_status_t read_file(const char *path, heap_ptr<uint8_t> &buf, uint32_t &size)
{
	struct stat st;
	if (::stat(path, &st) != 0)
		return QOR_STATUS_FAILED;
	if (st.st_size > INT32_MAX)
		return QOR_STATUS_EINVAL;
	size = static_cast<uint32_t>(st.st_size);
	buf = heap_alloc<uint8_t>(size ? size : 1);
	if (!buf)
		return QOR_STATUS_ENOMEM;
	FILE *f = std::fopen(path, "rb");
	if (!f)
		return QOR_STATUS_EFOPEN;
	size_t got = std::fread(buf.get(), 1, size, f);
	std::fclose(f);
	// An empty file, or one that changed under us, is never written to flash.
	return got == 0 || got != size ? QOR_STATUS_FAILED : QOR_STATUS_OK;
}

} // namespace
} // namespace qorl

using namespace qorl;

extern "C" {

qor_status_t qorl_flash_get_attr(qorl_t *qorl, qor_flash_attr_t *attr)
{
	if (!qorl)
		return QOR_STATUS_EINVAL;
	qor_ioctl_flash_attr_t rec{};
	return query<QOR_IOCTL_FLASH_GET_ATTR>(qorl, rec, rec.attr, attr, copy_when::sent);
}

qor_status_t qorl_flash_read_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance, char *filename,
				  uint32_t d, qor_boolean_t bfile)
{
	if (!qorl || !filename || d > INT32_MAX)
		return QOR_STATUS_EINVAL;
	auto buf = heap_alloc<uint8_t>(d ? d : 1);
	if (!buf)
		return QOR_STATUS_ENOMEM;
	int32_t delivered = 0;
	outcome o = part_request<QOR_IOCTL_FLASH_READ_PART>(qorl, type, instance, buf.get(), d, &delivered);
	if (!o.sent)
		return o.status;
	if (!bfile) {
		std::memcpy(filename, buf.get(), d);
		return o.status;
	}
	// Never more than was asked, whatever the driver says it delivered.
	size_t n = delivered < 0 ? 0 : std::min<size_t>(static_cast<size_t>(delivered), d);
	qor_status_t st = write_file(filename, buf.get(), n);
	return st != QOR_STATUS_OK ? st : o.status;
}

qor_status_t qorl_flash_update_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance,
				    const unsigned char *filename, qor_boolean_t bfile, uint32_t size)
{
	if (!qorl || !filename)
		return QOR_STATUS_EINVAL;
	heap_ptr<uint8_t> data;
	if (bfile) {
		qor_status_t st = read_file(reinterpret_cast<const char *>(filename), data, size);
		if (st != QOR_STATUS_OK)
			return st;
	} else {
		if (size > INT32_MAX)
			return QOR_STATUS_EINVAL;
		data = heap_alloc<uint8_t>(size ? size : 1);
		if (!data)
			return QOR_STATUS_ENOMEM;
		std::memcpy(data.get(), filename, size);
	}
	if (type == QOR_FLASH_PART_FWIMG &&
	    qor_checksum_u32(reinterpret_cast<uint32_t *>(data.get()), static_cast<int>(size)) != 0)
		return QOR_STATUS_CHECKSUM_FAIL;
	outcome o = part_request<QOR_IOCTL_FLASH_UPDATE_PART>(qorl, type, instance, data.get(), size);
	if (o.status != QOR_STATUS_OK)
		return o.status;
	auto back = heap_alloc<uint8_t>(size ? size : 1);
	if (!back)
		return QOR_STATUS_ENOMEM;
	qor_status_t st = qorl_flash_read_part(qorl, type, instance, reinterpret_cast<char *>(back.get()), size, QOR_FALSE);
	if (st == QOR_STATUS_OK && std::memcmp(data.get(), back.get(), size) != 0)
		return QOR_STATUS_FAILED;
	return st;
}

qor_status_t qorl_flash_erase_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance)
{
	if (!qorl)
		return QOR_STATUS_EINVAL;
	return part_request<QOR_IOCTL_FLASH_ERASE_PART>(qorl, type, instance, nullptr, 0).status;
}

qor_status_t qorl_flash_mfg_info(qorl_t *qorl, const char *serial, const char *partnum, wwn_t mfg_wwn, mac_t mac,
				 uint32_t card_type)
{
	const flash::card_model *model = flash::card_model_of(card_type);
	if (!qorl || !model || !serial || !partnum || strnlen(serial, QOR_MFG_SERIALNUM_LEN + 1) > QOR_MFG_SERIALNUM_LEN ||
	    strnlen(partnum, QOR_MFG_PARTNUM_LEN + 1) > QOR_MFG_PARTNUM_LEN)
		return QOR_STATUS_EINVAL;
	qor_ioctl_flash_mfg_t rec{};
	qor_mfg_block_t &b = rec.mfgblk;
	b.version = QOR_MFG_BLOCK_VERSION;
	std::memcpy(b.mfg_sig, "MFG", 3);
	b.mfgsize = sizeof b;
	// Full-length texts fill their fields without a terminator.
	std::memcpy(b.vlox_serialnum, serial, strnlen(serial, sizeof b.vlox_serialnum));
	std::memcpy(b.vlox_partnum, partnum, strnlen(partnum, sizeof b.vlox_partnum));
	b.mfg_wwn = mfg_wwn;
	b.num_wwn = model->ports == 1 ? 1 : 2;
	b.mfg_mac = mac;
	const uint8_t be[4] = {static_cast<uint8_t>(card_type >> 24), static_cast<uint8_t>(card_type >> 16),
			       static_cast<uint8_t>(card_type >> 8), static_cast<uint8_t>(card_type)};
	std::memcpy(&b.mfg_type, be, 4);
	return exec<QOR_IOCTL_FLASH_MFG>(qorl, rec).status;
}

qor_status_t qorl_flash_enable_optrom(qorl_t *qorl)
{
	return qorl ? exec_gen<QOR_IOCTL_FLASH_ENABLE_OPTROM>(qorl) : QOR_STATUS_EINVAL;
}

qor_status_t qorl_flash_disable_optrom(qorl_t *qorl)
{
	return qorl ? exec_gen<QOR_IOCTL_FLASH_DISABLE_OPTROM>(qorl) : QOR_STATUS_EINVAL;
}

} // extern "C"
