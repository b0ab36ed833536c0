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

	// QOR_STATUS_EFOPEN when there is no path, the path names a directory
	// or the temporary file cannot be created.
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

// An exclusive advisory lock (flock) on "<path>.lock", held from take() to
// the object's end. Writers that replace the file at path take it around
// their read-modify-write, so none of them works from a file another has
// just replaced. Not shared between threads.
class file_lock {
public:
	file_lock() = default;
	~file_lock();
	file_lock(const file_lock &) = delete;
	file_lock &operator=(const file_lock &) = delete;

	// Waits for the lock. QOR_STATUS_EFOPEN when the lock file cannot be
	// opened or created, QOR_STATUS_EIO when locking it fails.
	qor_status_t take(const char *path);

private:
	int fd_ = -1;
};

} // namespace qorl
