// Statistics records to name/value pairs.
#include "qorl_stats.h"

#include <cstring>

namespace {
// Bounded and always terminated; the rest of the field is zeroed so no stale
// bytes of the caller's buffer travel with the pair.
void copy_name(char (&dst)[QORL_STATS_NAME_LEN], const char *src)
{
	std::size_t n = src ? strnlen(src, QORL_STATS_NAME_LEN - 1) : 0;
	std::memcpy(dst, src ? src : "", n);
	std::memset(dst + n, 0, QORL_STATS_NAME_LEN - n);
}

// The record is a driver structure seen through a counter pointer; reading
// each counter by memcpy avoids alignment and aliasing trouble.
template <class Counter, class Pair>
void to_nv_pairs(const Counter *record, Pair *pairs, const char *const *names, int count)
{
	if (record == nullptr || pairs == nullptr || names == nullptr || count <= 0)
		return;
	const unsigned char *bytes = reinterpret_cast<const unsigned char *>(record);
	for (int i = 0; i < count; ++i) {
		copy_name(pairs[i].name, names[i]);
		Counter value;
		std::memcpy(&value, bytes + static_cast<std::size_t>(i) * sizeof value, sizeof value);
		pairs[i].value = value;
	}
}
} // namespace

extern "C" {

void qorl_stats_to_nv_pair(const uint32_t *qor_stats, qorl_stats_t *qorl_stats,
			   const char *const *name_array, int count)
{
	to_nv_pairs(qor_stats, qorl_stats, name_array, count);
}

void qorl_stats_long_to_nv_pair(const uint64_t *qor_stats, qorl_stats_long_t *qorl_stats,
				const char *const *name_array, int count)
{
	to_nv_pairs(qor_stats, qorl_stats, name_array, count);
}

} // extern "C"
