// The check of every text that enters the configuration model: names from
// callers, serial numbers from drivers, texts read from the file. A text
// that passes cannot end its line, break its quotes or make the reader take
// its line for another kind of line.
#include <cstring>

#include "qorl_config_int.h"

namespace qorl::cfg {

namespace {

// Length of the UTF-8 character at p (1 to 4), or 0 when the bytes there are
// not one (overlong forms, surrogates and code points above U+10FFFF are
// not), or when it is a control character (C0, DEL, C1).
int char_len(const unsigned char *p)
{
	const unsigned c = p[0];
	auto cont = [&](int i) { return (p[i] & 0xC0) == 0x80; };
	if (c < 0x80)
		return c < 0x20 || c == 0x7F ? 0 : 1;
	if (c >= 0xC2 && c <= 0xDF)
		return cont(1) && !(c == 0xC2 && p[1] < 0xA0) ? 2 : 0;
	if (c >= 0xE0 && c <= 0xEF) {
		unsigned lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
		return p[1] >= lo && p[1] <= hi && cont(2) ? 3 : 0;
	}
	if (c >= 0xF0 && c <= 0xF4) {
		unsigned lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
		return p[1] >= lo && p[1] <= hi && cont(2) && cont(3) ? 4 : 0;
	}
	return 0;
}

} // namespace

bool text_ok(const char *s, text_use use)
{
	if (!s)
		return false;
	for (const auto *p = reinterpret_cast<const unsigned char *>(s); *p;) {
		int n = char_len(p);
		if (n == 0 || *p == '"' || *p == ';' || *p == '\\')
			return false;
		p += n;
	}
	switch (use) {
	case text_use::adapter:
		return true;
	case text_use::id:
		return *s && !std::strpbrk(s, "-=");
	case text_use::fc:
		return !std::strstr(s, "adapter");
	case text_use::eth:
		return !std::strstr(s, "adapter") && !std::strstr(s, "qor");
	case text_use::global:
		return !std::strstr(s, "adapter") && !std::strstr(s, "qor") && !std::strstr(s, "vek");
	}
	return false;
}

text_use use_of(int code)
{
	switch (code) {
	case QORL_CFG_AD_ID: return text_use::id;
	case QORL_CFG_AD_NAME:
	case QORL_CFG_AD_POWER: return text_use::adapter;
	case QORL_CFG_PORT_MAC:
	case QORL_CFG_ETH_PORT_NAME: return text_use::eth;
	case QORL_CFG_AUTH_ENCRYPT: return text_use::global; // written globally too
	default: return text_use::fc;
	}
}

} // namespace qorl::cfg
