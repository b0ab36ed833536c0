// Checked reads of the emulator's JSON input (topology files, schedules,
// event records). A Field is a value together with the place it was read
// from ("adapters[1].functions[0].pwwn"); every read checks type and range
// and throws BadInput with that place in front of the rule that was broken.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "qor/ioctl/qor_ioctl_all.h"

namespace qorsim {

// "place: rule"; what every reader of emulator input throws.
struct BadInput : std::invalid_argument {
	using std::invalid_argument::invalid_argument;
};

[[noreturn]] void bad_input(const std::string &place, const std::string &rule);

// Text into a NUL-terminated record field of `room` bytes, cut to fit and
// zero-filled.
void put_text(char *dst, size_t room, std::string_view s);
template <size_t N> void put_text(char (&dst)[N], std::string_view s)
{
	put_text(dst, N, s);
}

// JSON text (comments allowed) as a value; a key given twice in one object
// throws BadInput naming the object, since one of the two would be lost.
// Syntax errors throw the parser's exceptions.
nlohmann::json parse_json(const std::string &text);

class Field {
public:
	Field(const nlohmann::json &j, std::string place) : j_(&j), place_(std::move(place)) {}

	const nlohmann::json &json() const { return *j_; }
	const std::string &place() const { return place_; }
	[[noreturn]] void fail(const std::string &rule) const;

	// ---- structure ----
	// Checks that this is an object and knows all its keys (keys that
	// begin with '_' are comments).
	const Field &object(std::initializer_list<const char *> keys) const;
	const Field &object() const;
	// Checks that this is an array; its size.
	size_t array() const;
	bool has(const char *key) const { return j_->is_object() && j_->contains(key); }
	// A member that must be there, or fails with `needs`.
	Field need(const char *key, const std::string &needs) const;
	Field operator[](const char *key) const;
	Field operator[](size_t i) const;

	// ---- values ----
	// A number, or text such as "42" and "0x1d"; false when it is neither or
	// does not fit 64 bits.
	bool try_integer(int64_t *out) const;
	int64_t integer(int64_t lo, int64_t hi) const;
	bool boolean() const;
	bool is_text() const { return j_->is_string(); }
	// Text that fits a NUL-terminated field of `room` bytes. What a card or
	// another device reports may hold any byte (the tools must cope), so
	// only names that become interface or file names ask for `printable`:
	// no control characters (C0, DEL, C1).
	enum class Bytes { printable, any };
	std::string text(size_t room, Bytes bytes = Bytes::any) const;
	wwn_t wwn() const;
	mac_t mac() const;
	// Position of the text among `words`; fails naming them.
	size_t one_of(std::initializer_list<const char *> words) const;

	// ---- optional members: `out` keeps its value when `key` is absent ----
	template <class T>
		requires(std::is_integral_v<T> && !std::is_same_v<T, bool>)
	bool read(const char *key, T &out, int64_t lo, int64_t hi) const
	{
		if (!has(key))
			return false;
		out = static_cast<T>((*this)[key].integer(lo, hi));
		return true;
	}
	bool read(const char *key, bool &out) const;
	bool read(const char *key, std::string &out, size_t room, Bytes bytes = Bytes::any) const;
	template <size_t N> bool read(const char *key, char (&out)[N]) const
	{
		std::string s;
		if (!read(key, s, N))
			return false;
		put_text(out, s);
		return true;
	}
	bool read_wwn(const char *key, wwn_t &out) const;
	bool read_mac(const char *key, mac_t &out) const;

private:
	const nlohmann::json *j_;
	std::string place_;
};

} // namespace qorsim
