/* careless.c - a C program written from velnor.h alone, linked with the
 * shared library, that calls it the way careless programs do: null
 * pointers, names that fill their fields, a block never cleared, an archive
 * path too long to hold.  Each case runs in a process of its own, so a crash
 * fails that case only.  The program also defines trim, casecmp and instr of
 * its own, as an application may: the library must keep using its own.
 * Ends with "N passed, N failed". */
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "velnor.h"

static int failures;
#define CHECK(cond) \
    ((cond) ? (void)0 : (void)(fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond), failures++))

/* The application's own helpers, deliberately unlike the library's: were
 * the library to call them, its names and comparisons would go wrong. */
static int owncalls;
char *trim(char *str) {
    owncalls++;
    return str;
}
int32_t casecmp(const char *a, const char *b) {
    owncalls++;
    (void)a, (void)b;
    return 1;
}
int32_t instr(const char *needle, const char *haystack) {
    owncalls++;
    (void)needle, (void)haystack;
    return 0;
}

#define FID_ITEMS "Item = KEYWORD,'C','L',0,20,1,0,\nItem = POSN,'C','L',20,5,1,1,\nKey = KEYWORD,20,1\n0,20,0\n"
static const char kFid[] = "TKF FID v7.0\nRecLen = 30\nNItems = 2\nNKeys = 1\nFlags = 0\n" FID_ITEMS;
static const char kHashedFid[] = "TKF FID v7.0\nRecLen = 30\nNItems = 2\nNKeys = 1\nFlags = 2\nHashRecs = 11\n" FID_ITEMS;

static void writefile(const char *name, const char *text) {
    FILE *f = fopen(name, "wb");
    if (f == NULL || fputs(text, f) < 0 || fclose(f) != 0) {
        perror(name);
        exit(2);
    }
}

/* What the folder holds, as "name:size;" for each entry in order of
 * reading, so that a file made, cut or grown shows as a change. */
static void snapshot(char *out, size_t cap) {
    DIR *d = opendir(".");
    struct dirent *e;
    struct stat st;
    out[0] = '\0';
    while (d != NULL && (e = readdir(d)) != NULL)
        if (stat(e->d_name, &st) == 0)
            snprintf(out + strlen(out), cap - strlen(out), "%s:%ld;", e->d_name, (long)st.st_size);
    if (d != NULL) closedir(d);
}

static void blockfor(FHCB *cb, const char *dat, const char *fid) {
    memset(cb, 0, sizeof *cb);
    snprintf(cb->datname, sizeof cb->datname, "%s", dat);
    snprintf(cb->fidname, sizeof cb->fidname, "%s", fid);
}

/* Each field filled to its end with no zero, by a name whose run-on into the
 * next field would name a file: the open, the create and the temporary
 * index are refused with the status of the field's file, and the folder is
 * as it was. */
static void longnames(void) {
    static const struct {
        int field; /* 0 datname, 1 fidname, 2 idxname */
        const char *fid;
        int status;
    } cases[] = {{0, "people.fid", VN_E_DATOPEN}, {1, "people.fid", VN_E_FIDOPEN},
                 {2, "people.fid", VN_E_IDXOPEN}, {2, "hashed.fid", VN_E_HSHOPEN}};
    char before[4096], after[4096];
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        for (int op = 0; op < 3; op++) {
            FHCB cb;
            blockfor(&cb, "people.dat", cases[i].fid);
            char *field = cases[i].field == 0 ? cb.datname : cases[i].field == 1 ? cb.fidname : cb.idxname;
            /* "./" 129 times and "abc": read on, it names abcpeople.fid */
            for (int k = 0; k < 129; k++) memcpy(field + 2 * k, "./", 2);
            memcpy(field + 258, "abc", 3);
            if (op == 2) cb.work = globalmalloc(257);
            snapshot(before, sizeof before);
            int32_t r = op == 0 ? vfhmake(&cb) : op == 1 ? vfhopen(&cb) : vfhmaketidx(&cb);
            snapshot(after, sizeof after);
            int want = op == 2 && cases[i].field == 2 ? VN_E_IDXOPEN : cases[i].status;
            CHECK(r == -1 && cb.status == want);
            CHECK(strcmp(before, after) == 0);
            if (op == 2) globalmfree(cb.work);
        }
    }
}

static void nullpointers(void) {
    FHCB cb, kw;
    char buf[64];
    uint32_t n = 7;
    CHECK(filehandler(NULL) == -1 && vfhopen(NULL) == -1 && vfhmake(NULL) == -1);
    CHECK(vfhmaketidx(NULL) == -1 && vfhclose(NULL) == -1 && vfhread(NULL, 0) == -1);
    CHECK(vfhwrite(NULL, 0) == -1 && vfhposn(NULL, 1) == -1 && vfhbacksp(NULL) == -1);
    CHECK(vfhdelete(NULL) == -1 && vfhrlock(NULL) == -1 && vfhrunlock(NULL) == -1);
    CHECK(vfhsecure(NULL) == -1 && vfhsetkey(NULL, 1) == -1 && vfhlimbo(NULL) == -1);
    CHECK(dlock(NULL, 1) == -1 && udlock(NULL, 1) == -1 && fhfidoffset(NULL, "KEYWORD") == -1);
    CHECK(bldkey(NULL, 0, buf) == 0 && frombase95(NULL, 4) == 0 && vfhcopy(NULL, NULL) == -1);
    vfhgetversion(NULL, NULL), vfhsettmpdir(NULL);

    blockfor(&cb, "people.dat", "people.fid");
    CHECK(vfhmake(&cb) == 0);
    CHECK(vfhitemset(&cb, "KEYWORD", 0, NULL) == -1 && cb.status == VN_C_NOTAPPLY);
    CHECK(vfhitemget(&cb, NULL, 0, buf) == -1 && vfhitemget(&cb, "KEYWORD", 0, NULL) == -1);
    CHECK(vfhitemoffset(&cb, NULL) == NULL && bldkey(&cb, 0, NULL) == 0 && vfhcopy(&cb, NULL) == -1);
    CHECK(vfhclose(&cb) == 0);

    blockfor(&kw, "words.dat", "people.fid");
    CHECK(fhhypinit(NULL, "words.hyp", 1, 1) == -1 && fhhypinit(&kw, NULL, 1, 1) == -1);
    CHECK(fhhypinit(&kw, "words.hyp", 1, 1) == 0);
    CHECK(fhhypsearch(&kw, NULL, &n) == NULL && n == 0 && kw.status == VN_C_NOTAPPLY);
    CHECK(fhhypsearch(&kw, "word", NULL) == NULL && fhhyplist(&kw, 1, "f", NULL, NULL) == NULL);
    CHECK(fhhyplist(&kw, 1, NULL, NULL, &n) == NULL && fhhypaddword(&kw, NULL, 1) == -1);
    CHECK(fhhypaddline(&kw, NULL, 1, 0) == -1 && fhhypgetnext(&kw, NULL) == 0xFFFFFFFFu);
    CHECK(fhhypsearch(NULL, "word", &n) == NULL && fhhypdelete(NULL, 1) == -1);
    CHECK(fhhypinit(&kw, NULL, 0, 0) == 0);

    CHECK(leading(NULL) == NULL && argpos(NULL, 'a') == 0);
    CHECK(casencmp(NULL, "a", 1) < 0 && nstrncpy(NULL, "a", 1) == NULL && creat_name(NULL, "", "", "") == NULL);
    CHECK(vlnname(NULL) == 0 && islike(NULL, "*") == 0 && longtoa(1, NULL, 10) == NULL);
    CHECK(convdate(NULL, NULL) == -1 && cfindfirst(NULL, 0, NULL, NULL) == NULL && fastopen(NULL, 0, 0) == -1);
    CHECK(fastputs(0, NULL) == NULL && makedir(NULL) == -1 && globalmfree(NULL) == NULL);
    blcpy(NULL, "a", 1), split_name(NULL, NULL, NULL, NULL), abbrname(NULL, 5, NULL);
    just_left(NULL, 5, ' '), jdunpack(2451545, NULL, NULL, NULL);
    CHECK(filemaint(VN_FM_VERIFY, NULL, NULL, NULL, NULL, 0, NULL, NULL) != 0);
    CHECK(compress_files(NULL, NULL, 0, NULL) == -1 && compress_file_list("-L", NULL, NULL) == -1);
}

/* A block on the stack that was never cleared: refused, not followed. */
static void uncleared(void) {
    static const unsigned char fills[] = {0x5A, 0xA5, 0xFF};
    for (size_t i = 0; i < sizeof fills; i++) {
        FHCB cb;
        memset(&cb, fills[i], sizeof cb);
        strcpy(cb.datname, "people.dat"), strcpy(cb.fidname, "people.fid"), strcpy(cb.idxname, "");
        CHECK(vfhopen(&cb) == -1 && cb.status == VN_E_REUSE);
        CHECK(vfhmake(&cb) == -1 && cb.status == VN_E_REUSE);
    }
}

/* A whole round of work with the application's trim, casecmp and instr in
 * the program: the library's results stay right and none of them is called. */
static void ownhelpers(void) {
    FHCB cb;
    char word[] = "Velnor";
    char got[32];
    uint32_t n = 0;
    blockfor(&cb, "words.dat", "people.fid");
    CHECK(fhhypinit(&cb, "words.hyp", 1, 1) == 0);
    CHECK(fhhypaddline(&cb, "careful programs trust velnor", 42, 0) == 0 && fhhypaddword(&cb, word, 7) == 0);
    uint32_t *values = fhhypsearch(&cb, "VELNOR", &n);
    CHECK(values != NULL && n == 2 && values[0] == 42 && values[1] == 7);
    globalmfree(values);
    CHECK(vfhitemget(&cb, "KEYWORD", 0, got) == 0 && strncmp(got, "velnor ", 7) == 0);
    CHECK(fhhypinit(&cb, NULL, 0, 0) == 0);
    /* the same names in two cases: maintenance refuses them */
    CHECK(filemaint(VN_FM_VERIFY, "people.dat", "", "PEOPLE.DAT", NULL, 0, NULL, NULL) == 1);
    CHECK(owncalls == 0);
    CHECK(trim(word) == word && owncalls == 1); /* the program's own, for the program */
}

/* Positioning on a key that is not there succeeds and leaves no current
 * record: the caller tells by VN_ST_CURRENT. */
static void absentkey(void) {
    FHCB cb;
    blockfor(&cb, "people.dat", "people.fid");
    CHECK(vfhmake(&cb) == 0 && vfhsetkey(&cb, 1) == 0);
    CHECK(vfhitemset(&cb, "KEYWORD", 0, "present") == 0 && vfhwrite(&cb, 0) == 0);
    memset(cb.work, ' ', 20);
    memcpy(cb.work, "zzz", 3);
    CHECK(vfhposn(&cb, 1) == 0 && cb.status == 0 && !(cb.state & VN_ST_CURRENT));
    CHECK(vfhread(&cb, 0) == -1 && cb.status == VN_C_NOREC);
    CHECK(vfhclose(&cb) == 0);
}

static int errnum = -1;
static void VELNOR_CALL errorsink(int32_t e) { errnum = e; }

/* An archive path longer than the archiver holds is refused, not cut. */
static void longarchive(void) {
    char path[400] = "";
    char before[4096], after[4096];
    char *patterns[] = {"people.fid"};
    for (int k = 0; k < 180; k++) strcat(path, "./");
    strcat(path, "arc.cmp");
    compress_setsinks(NULL, errorsink);
    snapshot(before, sizeof before);
    CHECK(compress_files("-AQ", path, 1, patterns) == -1 && errnum == 5);
    snapshot(after, sizeof after);
    CHECK(strcmp(before, after) == 0);
}

static const struct {
    const char *name;
    void (*run)(void);
} kCases[] = {{"long names", longnames},     {"null pointers", nullpointers}, {"uncleared block", uncleared},
              {"own helpers", ownhelpers},   {"absent key", absentkey},       {"long archive path", longarchive}};

int main(void) {
    const char *base = getenv("VELNOR_TEST_TMP");
    char dir[512];
    int passed = 0, failed = 0;
    snprintf(dir, sizeof dir, "%s/careless-XXXXXX", base != NULL ? base : "/tmp");
    mkdir(base != NULL ? base : "/tmp", 0777);
    if (mkdtemp(dir) == NULL || chdir(dir) != 0) return perror(dir), 2;
    for (size_t i = 0; i < sizeof kCases / sizeof kCases[0]; i++) {
        char sub[32];
        snprintf(sub, sizeof sub, "case%zu", i);
        pid_t pid = fork();
        if (pid == 0) {
            FHCB start = {0};
            if (mkdir(sub, 0777) != 0 || chdir(sub) != 0) _exit(2);
            writefile("people.fid", kFid);
            writefile("hashed.fid", kHashedFid);
            filehandler(&start); /* operation 0: the engine starts */
            kCases[i].run();
            _exit(failures == 0 ? 0 : 1);
        }
        int status = 0;
        int ok = pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        printf("%s %s\n", ok ? "PASS" : "FAIL", kCases[i].name);
        ok ? passed++ : failed++;
    }
    printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
