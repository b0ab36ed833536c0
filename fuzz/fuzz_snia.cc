// Fuzzes the replies the SNIA layer (and the pass-through readers under it)
// parses: the emulated fabric answers every pass-through with the input's
// bytes under any claimed size, into a caller buffer of any room; driver
// event records come from the input too. The library and the emulator run
// in this process, as in the test suites.
//
// Input: byte 0 picks the request, byte 1 the caller's room, bytes 2-5 the
// size the driver claims (little-endian), the rest is the reply.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "protocol/fc_ct.h"
#include "protocol/fc_els.h"
#include "qorl_adapter.h"
#include "qorl_rport.h"
#include "qorl_snia.h"
#include "qorsim.h"
#include "qorsim_san.h"

namespace {

HBA_WWN wwn(uint64_t wire)
{
	HBA_WWN w;
	for (int i = 0; i < 8; i++)
		w.wwn[i] = static_cast<uint8_t>(wire >> (56 - 8 * i));
	return w;
}

const HBA_WWN kPort0 = wwn(0x2000025a310af000), kTgtA = wwn(0x5025a340103a7c00);

bool setup()
{
	static char root[] = "/tmp/fuzz_snia.XXXXXX";
	if (!mkdtemp(root))
		abort();
	qorsim_set_root(root);
	if (QOR_LoadLibrary() != HBA_STATUS_OK || QOR_GetNumberOfAdapters() != 2)
		abort();
	return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	static const bool ready = setup();
	(void)ready;
	if (size < 6)
		return 0;
	const uint8_t pick = data[0];
	const uint32_t room = data[1];
	uint32_t claimed;
	std::memcpy(&claimed, data + 2, sizeof claimed);
	const uint8_t *reply = data + 6;
	const size_t n = size - 6;
	qorsim_san_fabric_reply(reply, n, claimed);

	// Exactly the room, on the heap: any read or write past it is caught.
	std::unique_ptr<uint8_t[]> rsp(new uint8_t[room ? room : 1]);
	HBA_UINT32 sz = room;
	uint8_t req[20] = {CT_GS3_REVISION, 0, 0, 0, CT_GSTYPE_DIRSERVICE, CT_GSSUBTYPE_NAMESERVER};
	fc_put_be16(req + 8, GS_GID_FT);
	req[19] = FC_TYPE_FCP;
	qorl_t *q = qorl_adapter_get_port(1);
	switch (pick % 7) {
	case 0:
		(void)QOR_HBA_SendRNIDV2(1, kPort0, kTgtA, 0x011a00, 0xDF, rsp.get(), &sz);
		break;
	case 1:
		(void)QOR_HBA_SendRLS(1, kPort0, kTgtA, rsp.get(), &sz);
		break;
	case 2:
		(void)QOR_HBA_SendCTPassThruV2(1, kPort0, req, sizeof req, rsp.get(), &sz);
		break;
	case 3:
		(void)QOR_HBA_SendCTPassThru(1, req, sizeof req, rsp.get(), room);
		break;
	case 4: {
		qor_rport_symname_t name;
		(void)qorl_get_rport_symname(q, 0, 0x001a01, q->pwwn, 0x007c3a10800e0650ull, &name);
		break;
	}
	case 5: {
		qorl_stats_t s[QORL_RPORT_REMOTE_LINK_STATS_COUNT];
		(void)qorl_rport_get_remote_link_error_status(q, q->pwwn, 0x007c3a10800e0650ull, s);
		break;
	}
	default: {
		// Driver event records for the event buffer.
		qorsim_san_fabric_reply(nullptr, 0, 0);
		qor_aen_entry_t e[4] = {};
		std::memcpy(e, reply, n < sizeof e ? n : sizeof e);
		qorsim_inject_events(QORSIM_DRV_FC, 0, e, 4);
		HBA_EVENTINFO ev[4];
		HBA_UINT32 count = room % 5;
		(void)QOR_HBA_GetEventBuffer(1, ev, &count);
		if (count > room % 5)
			abort();
		HBA_EVENTINFO rest[64];
		HBA_UINT32 all = 64;
		(void)QOR_HBA_GetEventBuffer(1, rest, &all);
		break;
	}
	}
	return 0;
}
