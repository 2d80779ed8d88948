/* records.c - a record file from C: make it, write three records, read one
 * back by its key, close.  Build: cc records.c $(pkg-config --cflags --libs velnor)
 * Run in an empty folder: it writes stock.fid, stock.dat and stock.idx. */
#include <stdio.h>
#include <string.h>

#include <velnor.h>

static int failed(FHCB *cb, const char *what) {
    fprintf(stderr, "%s: %s (status %d)\n", what, fhmessage(cb->status), cb->status);
    return 1;
}

int main(void) {
    /* The definition: CODE (the key) and NAME, 30 bytes a record. */
    FILE *fid = fopen("stock.fid", "w");
    if (fid == NULL) return 1;
    fputs("TKF FID v7.0\nRecLen = 30\nNItems = 2\nNKeys = 1\nFlags = 0\n"
          "Item = CODE,'C','L',0,6,1,0,\nItem = NAME,'C','L',6,24,1,1,\n"
          "Key = CODE,6,1\n0,6,0\n", fid);
    fclose(fid);

    FHCB start = {0};
    start.opcode = VN_OP_INIT;
    filehandler(&start);

    FHCB cb = {0};
    strcpy(cb.datname, "stock.dat");
    if (vfhmake(&cb) != 0) return failed(&cb, "stock.dat");
    const char *rows[][2] = {{"B200", "bolts"}, {"A100", "nuts"}, {"C300", "washers"}};
    for (int i = 0; i < 3; ++i) {
        memset(cb.recbuf, ' ', cb.reclen);
        cb.recbuf[cb.reclen - 1] = '\n';
        vfhitemset(&cb, "CODE", 0, rows[i][0]);
        vfhitemset(&cb, "NAME", 0, rows[i][1]);
        if (vfhwrite(&cb, 1) != 0) return failed(&cb, "write");
    }

    /* Read by key: position on "A100" in key 1, then read. */
    vfhsetkey(&cb, 1);
    memset(cb.work, 0, 257);
    strcpy(cb.work, "A100");
    if (vfhposn(&cb, 1) != 0 || vfhread(&cb, 1) != 0) return failed(&cb, "A100");
    char name[25] = {0};
    vfhitemget(&cb, "NAME", 0, name);  /* blank-padded to the item's width */
    for (size_t n = strlen(name); n > 0 && name[n - 1] == ' '; --n) name[n - 1] = '\0';
    printf("A100 is %s\n", name);

    if (vfhclose(&cb) != 0) return failed(&cb, "close");
    start.opcode = VN_OP_SHUTDOWN;
    filehandler(&start);
    return 0;
}
