// Checked reads of the emulator's JSON input.
#include "sim_json.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "qor/qor_text.h"

namespace qorsim {

void put_text(char *dst, size_t room, std::string_view s)
{
	const size_t n = s.size() < room ? s.size() : room - 1;
	memset(dst, 0, room);
	memcpy(dst, s.data(), n);
}

void bad_input(const std::string &place, const std::string &rule)
{
	throw BadInput((place.empty() ? std::string("topology") : place) + ": " + rule);
}

nlohmann::json parse_json(const std::string &text)
{
	using event = nlohmann::json::parse_event_t;
	// Where the parser is: per open object its keys and the current one,
	// per open array the number of elements begun; the place of the
	// innermost object is what its parents say of it.
	struct Level {
		bool array;
		size_t elements = 0;
		std::string key;
		std::set<std::string> keys;
	};
	std::vector<Level> at;
	std::optional<std::pair<std::string, std::string>> twice; // the object's place, the key
	auto place = [&] {
		std::string p;
		for (size_t i = 0; i + 1 < at.size(); i++)
			p += at[i].array ? "[" + std::to_string(at[i].elements - 1) + "]" : (p.empty() ? "" : ".") + at[i].key;
		return p;
	};
	auto element = [&] {
		if (!at.empty() && at.back().array)
			at.back().elements++;
	};
	nlohmann::json j = nlohmann::json::parse(
		text,
		[&](int, event e, nlohmann::json &parsed) {
			switch (e) {
			case event::object_start:
			case event::array_start:
				element();
				at.push_back({e == event::array_start});
				break;
			case event::object_end:
			case event::array_end:
				at.pop_back();
				break;
			case event::key:
				at.back().key = parsed.get<std::string>();
				if (!at.back().keys.insert(at.back().key).second && !twice)
					twice.emplace(place(), at.back().key);
				break;
			case event::value:
				element();
				break;
			}
			return true;
		},
		true, true);
	if (twice)
		bad_input(twice->first, "key '" + twice->second + "' appears twice");
	return j;
}

void Field::fail(const std::string &rule) const
{
	bad_input(place_, rule);
}

const Field &Field::object() const
{
	if (!j_->is_object())
		fail("must be an object");
	return *this;
}

const Field &Field::object(std::initializer_list<const char *> keys) const
{
	object();
	for (auto it = j_->begin(); it != j_->end(); ++it) {
		const std::string &k = it.key();
		if (!k.empty() && k[0] == '_')
			continue;
		bool known = false;
		for (const char *x : keys)
			known = known || k == x;
		if (!known)
			fail("unknown key '" + k + "'");
	}
	return *this;
}

size_t Field::array() const
{
	if (!j_->is_array())
		fail("must be an array");
	return j_->size();
}

Field Field::operator[](const char *key) const
{
	static const nlohmann::json absent;
	const nlohmann::json &v = has(key) ? (*j_)[key] : absent;
	return Field(v, place_.empty() ? std::string(key) : place_ + "." + key);
}

Field Field::operator[](size_t i) const
{
	return Field((*j_)[i], place_ + "[" + std::to_string(i) + "]");
}

Field Field::need(const char *key, const std::string &needs) const
{
	if (!has(key))
		fail(needs);
	return (*this)[key];
}

bool Field::try_integer(int64_t *out) const
{
	const nlohmann::json &v = *j_;
	if (v.is_number_integer()) {
		if (v.is_number_unsigned() && v.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX))
			return false;
		*out = v.get<int64_t>();
		return true;
	}
	if (!v.is_string())
		return false;
	const std::string s = v.get<std::string>();
	char *end = nullptr;
	errno = 0;
	const long long x = std::strtoll(s.c_str(), &end, 0);
	if (s.empty() || *end || errno)
		return false;
	*out = x;
	return true;
}

int64_t Field::integer(int64_t lo, int64_t hi) const
{
	int64_t v = 0;
	const bool ok = try_integer(&v);
	if (!ok && j_->is_string())
		fail("'" + j_->get<std::string>() + "' is not an integer");
	if (!ok || v < lo || v > hi)
		fail("must be an integer from " + std::to_string(lo) + " to " + std::to_string(hi));
	return v;
}

bool Field::boolean() const
{
	if (!j_->is_boolean())
		fail("must be true or false");
	return j_->get<bool>();
}

namespace {

bool has_control(std::string_view s)
{
	for (size_t i = 0; i < s.size(); i++) {
		const auto c = static_cast<unsigned char>(s[i]);
		const bool c1 = c == 0xc2 && i + 1 < s.size() && static_cast<unsigned char>(s[i + 1]) < 0xa0;
		if (c < 0x20 || c == 0x7f || c1)
			return true;
	}
	return false;
}

} // namespace

std::string Field::text(size_t room, Bytes bytes) const
{
	if (!j_->is_string() || j_->get<std::string>().size() >= room)
		fail("must be text of at most " + std::to_string(room - 1) + " characters");
	const std::string &s = j_->get_ref<const std::string &>();
	if (bytes == Bytes::printable && has_control(s))
		fail("must be text without control characters");
	return s;
}

wwn_t Field::wwn() const
{
	wwn_t w = 0;
	if (!j_->is_string() || !qor_wwn_parse(j_->get<std::string>().c_str(), &w))
		fail("must be a WWN like \"20:00:00:11:22:33:44:55\"");
	return w;
}

mac_t Field::mac() const
{
	mac_t m{};
	if (!j_->is_string() || !qor_mac_parse(j_->get<std::string>().c_str(), m.mac))
		fail("must be a MAC address like \"02:00:00:00:00:01\"");
	return m;
}

size_t Field::one_of(std::initializer_list<const char *> words) const
{
	std::string listed;
	size_t i = 0;
	for (const char *w : words) {
		if (j_->is_string() && j_->get<std::string>() == w)
			return i;
		listed += (i ? (i + 1 == words.size() ? " or " : ", ") : "") + std::string("\"") + w + "\"";
		i++;
	}
	fail("must be " + listed);
}

bool Field::read(const char *key, bool &out) const
{
	if (!has(key))
		return false;
	out = (*this)[key].boolean();
	return true;
}

bool Field::read(const char *key, std::string &out, size_t room, Bytes bytes) const
{
	if (!has(key))
		return false;
	out = (*this)[key].text(room, bytes);
	return true;
}

bool Field::read_wwn(const char *key, wwn_t &out) const
{
	if (!has(key))
		return false;
	out = (*this)[key].wwn();
	return true;
}

bool Field::read_mac(const char *key, mac_t &out) const
{
	if (!has(key))
		return false;
	out = (*this)[key].mac();
	return true;
}

} // namespace qorsim
