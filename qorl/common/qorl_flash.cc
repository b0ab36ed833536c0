// Flash partitions: attributes, read, write with read-back, erase, the
// manufacturing block and the option ROM switch. The driver moves a whole
// partition per request through a buffer of ours.
#include <algorithm>
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

// Blocks the partition moves reuse on each thread: a partition moves whole,
// and a fresh block per call (cleared by the system each time) would cost
// more than the move itself. Given up when the thread ends.
class scratch {
public:
	~scratch() { std::free(p_); }
	uint8_t *get(size_t n)
	{
		if (n > cap_ || !p_) {
			std::free(p_);
			p_ = static_cast<uint8_t *>(std::malloc(n ? n : 1));
			cap_ = p_ ? n : 0;
		}
		return p_;
	}

private:
	uint8_t *p_ = nullptr;
	size_t cap_ = 0;
};
thread_local scratch t_data, t_back;

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

// The whole file in this thread's data block.
qor_status_t read_file(const char *path, uint8_t *&buf, uint32_t &size)
{
	struct stat st;
	if (::stat(path, &st) != 0)
		return QOR_STATUS_FAILED;
	if (st.st_size > INT32_MAX)
		return QOR_STATUS_EINVAL;
	size = static_cast<uint32_t>(st.st_size);
	buf = t_data.get(size);
	if (!buf)
		return QOR_STATUS_ENOMEM;
	int fd = ::open(path, O_RDONLY | O_CLOEXEC);
	if (fd < 0)
		return QOR_STATUS_EFOPEN;
	size_t got = 0;
	while (got < size) {
		ssize_t n = ::read(fd, buf + got, size - got);
		if (n < 0 && errno == EINTR)
			continue;
		if (n <= 0)
			break;
		got += static_cast<size_t>(n);
	}
	close(fd);
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
	// To memory the driver fills the caller's buffer itself; past what it
	// delivered the buffer reads as zeros.
	uint8_t *buf = bfile ? t_data.get(d) : reinterpret_cast<uint8_t *>(filename);
	if (!buf)
		return QOR_STATUS_ENOMEM;
	int32_t delivered = 0;
	outcome o = part_request<QOR_IOCTL_FLASH_READ_PART>(qorl, type, instance, buf, d, &delivered);
	if (!o.sent)
		return o.status;
	// Never more than was asked, whatever the driver says it delivered.
	const size_t n = delivered < 0 ? 0 : std::min<size_t>(static_cast<size_t>(delivered), d);
	if (!bfile) {
		std::memset(buf + n, 0, d - n);
		return o.status;
	}
	qor_status_t st = write_file(filename, buf, n);
	return st != QOR_STATUS_OK ? st : o.status;
}

qor_status_t qorl_flash_update_part(qorl_t *qorl, qor_flash_part_type_t type, uint8_t instance,
				    const unsigned char *filename, qor_boolean_t bfile, uint32_t size)
{
	if (!qorl || !filename)
		return QOR_STATUS_EINVAL;
	// From memory the driver reads the caller's bytes themselves.
	const uint8_t *data = filename;
	if (bfile) {
		uint8_t *file_data = nullptr;
		qor_status_t st = read_file(reinterpret_cast<const char *>(filename), file_data, size);
		if (st != QOR_STATUS_OK)
			return st;
		data = file_data;
	} else if (size > INT32_MAX) {
		return QOR_STATUS_EINVAL;
	}
	if (type == QOR_FLASH_PART_FWIMG &&
	    qor_checksum_u32(reinterpret_cast<uint32_t *>(const_cast<uint8_t *>(data)), static_cast<int>(size)) != 0)
		return QOR_STATUS_CHECKSUM_FAIL;
	outcome o = part_request<QOR_IOCTL_FLASH_UPDATE_PART>(qorl, type, instance, const_cast<uint8_t *>(data), size);
	if (o.status != QOR_STATUS_OK)
		return o.status;
	uint8_t *back = t_back.get(size);
	if (!back)
		return QOR_STATUS_ENOMEM;
	qor_status_t st = qorl_flash_read_part(qorl, type, instance, reinterpret_cast<char *>(back), size, QOR_FALSE);
	if (st == QOR_STATUS_OK && std::memcmp(data, back, size) != 0)
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
