// Request channel: type byte routing, errno translation, copy-back rules.
#include <cerrno>
#include <cstring>

#include "qorl.h"
#include "qorl_adapter.h"
#include "qorl_ioc.h"
#include "testutil.h"

namespace {

class Channel : public qt::SimTest {
protected:
	void SetUp() override
	{
		qt::SimTest::SetUp();
		ASSERT_EQ(qorl_ioc_scan(), 6);
		qorsim_log_clear();
	}
	qorl_t *first_of_type(qor_ioc_type_e t)
	{
		for (qorl_t *q = qorl_ioc_get_list(); q; q = q->next)
			if (q->ioc_type == t)
				return q;
		return nullptr;
	}
};

TEST_F(Channel, TypeByteFollowsControllerSide)
{
	struct {
		qor_ioc_type_e type;
		uint32_t wire;
	} cases[] = {
		{QOR_IOC_TYPE_FC, 0xC0084303u},
		{QOR_IOC_TYPE_FCoE, 0xC0084303u},
		{QOR_IOC_TYPE_LL, 0xC0084403u},
	};
	for (auto &c : cases) {
		qorl_t *q = first_of_type(c.type);
		ASSERT_NE(q, nullptr) << c.type;
		qorsim_log_clear();
		qorl_args_t args{};
		args.qorl_ioctl.gen.qord_num = (uint16_t)q->instance;
		qorl_ioctl(q, QOR_IOCTL_IOC_ENABLE, &args, 0, 0, 0);
		auto log = qt::log_entries();
		ASSERT_EQ(log.size(), 1u);
		EXPECT_EQ(log[0].code, c.wire) << "type " << c.type;
	}
}

TEST_F(Channel, UnknownTypeGoesToEthernetTypeByte)
{
	qorl_t h = *first_of_type(QOR_IOC_TYPE_LL);
	h.ioc_type = (qor_ioc_type_e)0;
	qorl_args_t args{};
	qorl_ioctl(&h, 0xC040B001u, &args, 0, 0, 0);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC0404401u);
}

TEST_F(Channel, ErrnoTranslation)
{
	struct {
		int err;
		qor_status_t want;
	} cases[] = {
		{EINTR, QOR_STATUS_EINTR}, {EIO, QOR_STATUS_EIO},       {ENXIO, QOR_STATUS_ENXIO},
		{EBADF, QOR_STATUS_EBADF}, {ENODEV, QOR_STATUS_NODEV},  {EINVAL, QOR_STATUS_EINVAL},
		{ENOTTY, QOR_STATUS_ENOTTY}, {EPERM, QOR_STATUS_FAILED}, {ENOMEM, QOR_STATUS_FAILED},
		{EAGAIN, QOR_STATUS_FAILED},
	};
	qorl_t *q = qorl_ioc_open_idx(0);
	for (auto &c : cases) {
		qorsim_fault_clear();
		qorsim_fault_request(QOR_IOCTL_IOC_GET_ATTR, -1, c.err, 0, 1);
		qor_ioc_attr_t attr;
		EXPECT_EQ(qorl_ioc_get_attr(q, &attr), c.want) << "errno " << c.err;
	}
}

TEST_F(Channel, ClosedDescriptorIsEbadf)
{
	qorl_t h = *qorl_ioc_open_idx(0);
	h.fd = -1;
	qorl_args_t args{};
	EXPECT_EQ(qorl_ioctl(&h, QOR_IOCTL_IOC_GET_ATTR, &args, 0, 0, 0), QOR_STATUS_EBADF);
}

TEST_F(Channel, NomaskHandsRecordBackWhateverTheResult)
{
	qorl_t *q = qorl_ioc_open_idx(0);
	qor_ioctl_ioc_get_version_t v{};
	v.status = 0x55;
	v.version = 0xdeadbeef;
	qorsim_fault_request(QOR_IOCTL_IOC_GET_VERSION, -1, EIO, 0, 1);
	EXPECT_EQ(qorl_ioctl_nomask(q, QOR_IOCTL_IOC_GET_VERSION, &v, sizeof v), QOR_STATUS_EIO);
	EXPECT_EQ(v.status, 0x55u);
	EXPECT_EQ(v.version, 0xdeadbeefu);

	EXPECT_EQ(qorl_ioctl_nomask(q, QOR_IOCTL_IOC_GET_VERSION, &v, sizeof v), QOR_STATUS_OK);
	EXPECT_EQ(v.status, (uint32_t)QOR_STATUS_OK);
	EXPECT_EQ(v.version, (uint32_t)QOR_DRV_INTERFACE_VERSION);
}

TEST_F(Channel, NomaskRefusesOversizedRecord)
{
	qorl_t *q = qorl_ioc_open_idx(0);
	static char big[sizeof(qorl_ioctl_t) + 8];
	EXPECT_EQ(qorl_ioctl_nomask(q, QOR_IOCTL_IOC_GET_VERSION, big, (int)sizeof big), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorl_ioctl_nomask(q, QOR_IOCTL_IOC_GET_VERSION, big, -1), QOR_STATUS_EINVAL);
	EXPECT_EQ(qorsim_log_count(), 0u);
}

TEST_F(Channel, IpfcKeepsTypeByteEvenForEthernetHandle)
{
	qorl_t h = *first_of_type(QOR_IOC_TYPE_FC);
	ASSERT_GE(h.ipfc_fd, 0);
	h.ioc_type = QOR_IOC_TYPE_LL;
	qorl_args_t args{};
	EXPECT_EQ(qorl_ioctl_ipfc(&h, QOR_IOCTL_IOC_GET_VERSION, &args, 0, 0, 0), QOR_STATUS_OK);
	auto log = qt::log_entries();
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].code, 0xC0084301u);
	EXPECT_EQ(log[0].ipfc, 1);
}

TEST_F(Channel, LastErrorSticksUntilAdapterNaming)
{
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
	qorsim_fault_open(QOR_DEV_FC, ENOENT);
	qorl_ioc_scan();
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_NO_DRIVER);
	qorsim_fault_open(QOR_DEV_FC, 0);
	ASSERT_EQ(qorl_adapter_scan(), 2);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_NO_DRIVER) << "a success must not clear it";
	char name[] = "lab";
	qorl_adapter_set_name(1, name);
	EXPECT_EQ(qorl_get_last_error(), QOR_STATUS_OK);
}

} // namespace
