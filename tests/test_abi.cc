// The shared object's interface: exported symbols equal the public
// declarations, the SONAME, and internal helpers stay hidden.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::string run(const std::string &cmd)
{
	std::string out;
	FILE *p = popen(cmd.c_str(), "r");
	if (!p)
		return out;
	char buf[4096];
	size_t n;
	while ((n = fread(buf, 1, sizeof buf, p)) > 0)
		out.append(buf, n);
	pclose(p);
	return out;
}

std::string lib_path()
{
	return std::string(QORL_BINARY_DIR) + "/libqorl.so.1";
}

// Functions and tables the public headers declare.
std::set<std::string> declared()
{
	std::set<std::string> names;
	const std::regex func(R"(([A-Za-z_]\w*)\s*\((?:[^()]|\([^()]*\))*\)\s*;)");
	const std::regex data(R"(extern\s+(?!")[^;({]*?\b([A-Za-z_]\w*)\s*\[)");
	for (auto &e : std::filesystem::directory_iterator(std::string(QORL_SOURCE_DIR) + "/qorl/include")) {
		std::ifstream in(e.path());
		std::stringstream ss;
		ss << in.rdbuf();
		std::string text = std::regex_replace(ss.str(), std::regex(R"(/\*[\s\S]*?\*/)"), " ");
		text = std::regex_replace(text, std::regex(R"(//[^\n]*)"), " ");
		text = std::regex_replace(text, std::regex(R"(#[^\n]*)"), " ");
		// Function-pointer typedefs name types, not symbols.
		text = std::regex_replace(text, std::regex(R"(typedef[^;]*;)"), " ");
		for (const auto *re : {&func, &data})
			for (std::sregex_iterator it(text.begin(), text.end(), *re), end; it != end; ++it)
				names.insert((*it)[1]);
	}
	return names;
}

std::set<std::string> exported()
{
	std::set<std::string> names;
	std::istringstream in(run("nm -D --defined-only " + lib_path()));
	std::string addr, type, name;
	while (in >> addr >> type >> name) {
		auto at = name.find('@');
		if (at != std::string::npos)
			name.resize(at);
		if (name != "QORL_1")
			names.insert(name);
	}
	return names;
}

TEST(Abi, ExportsEqualPublicDeclarations)
{
	auto decl = declared();
	auto exp = exported();
	ASSERT_FALSE(exp.empty()) << "nm found nothing in " << lib_path();
	for (auto &n : decl)
		EXPECT_TRUE(exp.count(n)) << n << " is declared but not exported";
	for (auto &n : exp)
		EXPECT_TRUE(decl.count(n)) << n << " is exported but not declared";
}

TEST(Abi, GenericListHelpersStayInternal)
{
	auto exp = exported();
	for (const char *n : {"list_append", "find", "list_free"})
		EXPECT_FALSE(exp.count(n)) << n;
}

TEST(Abi, SonameAndLinkFlags)
{
	std::string dyn = run("readelf -d " + lib_path());
	EXPECT_NE(dyn.find("Library soname: [libqorl.so.1]"), std::string::npos) << dyn;
	EXPECT_NE(dyn.find("SYMBOLIC"), std::string::npos) << "internal calls must bind locally";
	EXPECT_NE(dyn.find("NODELETE"), std::string::npos) << "the library must stay mapped after dlclose";
}

} // namespace
