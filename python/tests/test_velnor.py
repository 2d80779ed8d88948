"""The velnor package against the program and against a plain dict."""

import csv
import io
import multiprocessing
import random
from decimal import Decimal

import pytest

import velnor
from conftest import velnor as run


def dumped(path):
    """The program's CSV dump of path as dicts of text."""
    return list(csv.DictReader(io.StringIO(run("dump", path, "--format", "csv"))))


def astext(record):
    """A record's values as the CSV dump writes them."""
    out = {}
    for name, value in record.items():
        values = value if isinstance(value, list) else [value]
        for k, v in enumerate(values):
            key = f"{name}[{k + 1}]" if isinstance(value, list) else name
            out[key] = "" if v is None else str(v)
    return out


def test_records_match_the_programs_dump_both_ways(parts):
    with velnor.open(parts) as f:
        records = list(f)
        assert [astext(r) for r in records] == dumped(parts)
        assert records[0] == {"CODE": "A1", "NAME": "Müller bolt", "PRICE": Decimal("12.50"),
                              "QTY": 3, "TAGS": ["red", "big"]}
        assert records[1]["PRICE"] is None
        f.put({"CODE": "D4", "NAME": "Grüße", "QTY": 5, "PRICE": Decimal("1.25"), "TAGS": ["x"]})
    # What Python wrote, the program reads back the same.
    assert dumped(parts)[-1] == {"CODE": "D4", "NAME": "Grüße", "QTY": "5", "PRICE": "1.25",
                                 "TAGS[1]": "x", "TAGS[2]": ""}


def test_orders_lookups_and_refusals(parts):
    with velnor.open(parts) as f:
        assert [r["CODE"] for r in f.by_key(1)] == ["A1", "B2", "C3"]
        assert [r["CODE"] for r in f.by_key(1, start="B")] == ["B2", "C3"]
        assert [r["NAME"] for r in f.by_key(2)] == ["washer", "nut", "Müller bolt"]
        assert [r["CODE"] for r in f.by_key(1, descending=True)] == ["C3", "B2", "A1"]
        assert [r["CODE"] for r in f.by_key(1, start="B2", descending=True)] == ["B2", "A1"]
        assert f.get("nut", key=2)["QTY"] == 120
        with pytest.raises(velnor.NotFound):
            f.get("B")  # a key that only starts with the value is not it
        with pytest.raises(velnor.Exists):
            f.put({"CODE": "A1"})
        with pytest.raises(ValueError, match="no item called 'COLOUR'"):
            f.put({"CODE": "E5", "COLOUR": "red"})
        with pytest.raises(ValueError, match="longer than its 6"):
            f.put({"CODE": "E5", "QTY": 1234567})
        with pytest.raises(velnor.NotFound):
            f.replace({"CODE": "Z9"})
    with pytest.raises(velnor.Error) as e:
        velnor.open(parts.parent / "none.dat")
    assert e.value.status and "none.dat: No such file or directory" in str(e.value)


def test_model_against_a_dict(parts):
    rng = random.Random(29)
    model = {}
    with velnor.open(parts) as f:
        for r in list(f):
            f.delete(r["CODE"])
        for step in range(600):
            code = f"K{rng.randrange(60):02d}"
            op = rng.choice(["put", "put", "replace", "delete", "get"])
            record = {"CODE": code, "NAME": f"n{rng.randrange(1000)}", "QTY": rng.randrange(10**5)}
            if op == "put":
                if code in model:
                    with pytest.raises(velnor.Exists):
                        f.put(record)
                else:
                    f.put(record)
                    model[code] = record
            elif op == "replace" and code in model:
                f.replace(record)
                model[code] = record
            elif op == "delete" and code in model:
                f.delete(code)
                del model[code]
            elif code not in model:
                with pytest.raises(velnor.NotFound):
                    f.get(code)
            else:
                got = f.get(code)
                assert {k: got[k] for k in model[code]} == model[code], step
        assert [r["CODE"] for r in f.by_key(1)] == sorted(model)
    assert velnor.verify(parts)["ok"]
    with velnor.open(parts) as f:
        assert sorted(r["CODE"] for r in f) == sorted(model)


def _writer(path, prefix, n, ready):
    ready.wait()
    with velnor.open(path, network="MSNET") as f:
        for i in range(n):
            f.put({"CODE": f"{prefix}{i:04d}", "NAME": prefix, "QTY": i})


def _trylock(path, result):
    with velnor.open(path, network="MSNET") as f:
        try:
            with f.lock("A1"):
                result.put("locked here")
        except velnor.Locked as e:
            result.put(e.status)


def test_two_processes_share_a_file(parts):
    ctx = multiprocessing.get_context("fork")
    ready = ctx.Event()
    procs = [ctx.Process(target=_writer, args=(str(parts), p, 150, ready)) for p in ("P", "Q")]
    for p in procs:
        p.start()
    ready.set()
    for p in procs:
        p.join(60)
        assert p.exitcode == 0
    with velnor.open(parts, network="MSNET") as f:
        codes = [r["CODE"] for r in f.by_key(1)]
        assert len(codes) == 303 and codes == sorted(codes)
        # A record locked here is refused to the other process.
        with f.lock("A1") as record:
            assert record["QTY"] == 3
            result = ctx.Queue()
            child = ctx.Process(target=_trylock, args=(str(parts), result))
            child.start()
            child.join(60)
            assert result.get(timeout=5) != "locked here"
            f.secure()
    assert velnor.verify(parts)["ok"]


def test_maintenance_keyword_and_archive(parts, folder):
    (folder / "parts.idx").write_bytes(b"TKF\0")
    with pytest.raises(velnor.Damaged):
        velnor.open(parts)
    report = velnor.recover(parts)
    assert report["ok"], report
    assert velnor.verify(parts)["ok"]
    assert velnor.pack(parts)["ok"]
    with velnor.open(parts) as f:
        assert len(list(f)) == 3

    run("keyword", "create", "words")
    run("keyword", "add", "words", "7", "bolt", "nut")
    run("keyword", "add", "words", "9", "bolt")
    assert velnor.Keyword(folder / "words").search("bolt") == [7, 9]
    assert velnor.Keyword(folder / "words").search("screw") == []

    velnor.archive.add("back.cmp", ["parts.dat", "parts.fid"])
    assert len(velnor.archive.list("back.cmp")) >= 2
    (folder / "out").mkdir()
    velnor.archive.extract("back.cmp", target="out")
    assert (folder / "out" / "parts.dat").read_bytes() == parts.read_bytes()
