"""records.py - a record file from Python: read the file the C example
made (stock.dat), add a record, look one up by key, and list them in key
order.  Run it in the folder where records.c ran."""

import velnor

with velnor.open("stock.dat") as f:
    f.put({"CODE": "D400", "NAME": "hinges"})
    print("A100 is", f.get("A100")["NAME"])
    for record in f.by_key(1):
        print(record["CODE"], record["NAME"])
