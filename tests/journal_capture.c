/*
 * Stands in for the journal in tests: preloaded before libsystemd, it takes
 * every sd_journal_sendv entry and appends it to the file named by
 * QORL_TEST_JOURNAL as one JSON object a line (field -> value). Values are
 * written as given; the tests send only printable text.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>

int sd_journal_sendv(const struct iovec *iov, int n)
{
	const char *path = getenv("QORL_TEST_JOURNAL");
	FILE *f = path ? fopen(path, "a") : NULL;
	if (!f)
		return -5; /* -EIO */
	fputc('{', f);
	for (int i = 0; i < n; i++) {
		const char *s = iov[i].iov_base;
		size_t len = iov[i].iov_len;
		const char *eq = memchr(s, '=', len);
		size_t k = eq ? (size_t)(eq - s) : len;
		fprintf(f, "%s\"%.*s\":\"", i ? "," : "", (int)k, s);
		for (size_t j = eq ? k + 1 : len; j < len; j++) {
			if (s[j] == '"' || s[j] == '\\')
				fputc('\\', f);
			fputc(s[j], f);
		}
		fputc('"', f);
	}
	fputs("}\n", f);
	fclose(f);
	return 0;
}
