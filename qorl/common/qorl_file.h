// Replacing a file whole: the new text goes to a temporary file beside the
// target, which is synced and renamed over it. A crash at any point leaves
// the old file or the new one, never a torn one. Not exported.
#pragma once

#include <cstdio>
#include <memory>

#include "qorl.h"

namespace qorl {

// One replacement of one file. open(), write to stream(), commit(); an
// object dropped before commit() removes its temporary file and leaves the
// target as it was. The target keeps its mode (and owner, where allowed); a
// new target gets 0644. Not shared between threads.
class file_replacement {
public:
	// Room for the temporary file's path; a longer target path is refused.
	static constexpr size_t path_room = 4096;

	file_replacement() = default;
	~file_replacement();
	file_replacement(const file_replacement &) = delete;
	file_replacement &operator=(const file_replacement &) = delete;

	// QOR_STATUS_EFOPEN when there is no path or the temporary file cannot
	// be created.
	qor_status_t open(const char *path);
	FILE *stream() const { return f_; }
	// Flushes, syncs and renames over the target, then syncs its directory.
	// QOR_STATUS_EIO when any write, flush, sync, close or the rename failed.
	qor_status_t commit();

private:
	void discard();

	const char *target_ = nullptr;
	char tmp_[path_room] = {};
	FILE *f_ = nullptr;
	std::unique_ptr<char[]> buf_;
};

} // namespace qorl
