#!/usr/bin/env python3
"""Sets monitor_bench's figures beside mtr's from the same run (bench/monitor/run.sh).

  compare.py table OURS MTR_JSON MTR_TIME ROUNDS loss|limit HOP
      per hop: loss and avg, ours and mtr's; the mean loss behind the lossy link; CPU per round;
      whether the verdict names HOP (loss: where the loss begins; limit: the router that limits
      its replies)
  compare.py verdict OURS loss|limit HOP
      "yes" or "no", and the verdict's first sentence
"""
import json
import re
import sys


def read_ours(path):
    hops, info = {}, {}
    with open(path) as f:
        for line in f:
            words = line.split()
            if not words:
                continue
            if words[0] == "hop":
                fields = dict(zip(words[3::2], words[4::2]))
                fields["address"] = words[2]
                hops[int(words[1])] = fields
            elif words[0] == "verdict":
                info["text"] = line[len("verdict "):].strip()
            else:
                info.update(zip(words[0::2], words[1::2]))
    return hops, info


def names_hop(info, mode, hop):
    if mode == "loss":
        return info.get("verdict_kind") == "LossBegins" and info.get("verdict_hop") == str(hop)
    text = info.get("text", "")
    return (info.get("rate_limited_hops") == str(hop)
            and f"Hop {hop} (" in text and "limits its replies" in text)


def first_sentence(text):
    return re.split(r"(?<=\.)\s+(?=[A-Z])", text, maxsplit=1)[0]


def number(value):
    try:
        return float(value)
    except (TypeError, ValueError):
        return None


def table(ours_path, mtr_path, time_path, rounds, mode, hop):
    hops, info = read_ours(ours_path)
    with open(mtr_path) as f:
        hubs = {int(h["count"]): h for h in json.load(f)["report"]["hubs"]}
    # The avg difference is also given in standard errors of the difference (from both stdevs):
    # a lab stalled by other work now and then shows outliers that move a mean by tenths of a ms.
    print(f"  {'hop':>3}  {'address':<13} {'loss ours':>9} {'mtr':>6} {'diff':>6}   {'avg ours':>8} {'mtr':>7} "
          f"{'diff':>6} {'(SEs)':>6}   {'best ours':>9} {'mtr':>7}   {'stdev ours':>10} {'mtr':>6}")
    loss_gaps, avg_gaps, behind = [], [], []
    for n in sorted(set(hops) | set(hubs)):
        o, m = hops.get(n, {}), hubs.get(n, {})
        ol, ml = number(o.get("loss")), number(m.get("Loss%"))
        oa = number(o.get("avg")) if o.get("recv", "0") != "0" else None
        ma = number(m.get("Avg")) if ml is not None and ml < 100 else None
        dl = ol - ml if ol is not None and ml is not None else None
        da = oa - ma if oa is not None and ma is not None else None
        os_, ms_ = number(o.get("stdev")), number(m.get("StDev"))
        se = None
        if da is not None and os_ is not None and ms_ is not None:
            se = (os_ ** 2 / max(1, int(o["recv"])) + ms_ ** 2 / max(1, m["Snt"] * (100 - ml) / 100)) ** 0.5
        show = lambda v, f: format(v, f) if v is not None else "-"
        print(f"  {n:>3}  {o.get('address', m.get('host', '?')):<13} {show(ol, '9.1f')} {show(ml, '6.1f')} "
              f"{show(dl, '+6.1f')}   {show(oa, '8.2f')} {show(ma, '7.2f')} {show(da, '+6.2f')} "
              f"{show(da / se if se else None, '6.1f'):>6}   {show(number(o.get('best')) if oa else None, '9.2f')} "
              f"{show(number(m.get('Best')) if ma else None, '7.2f')}   {show(os_ if oa else None, '10.2f')} "
              f"{show(ms_ if ma else None, '6.2f')}")
        if dl is not None:
            loss_gaps.append((abs(dl), n))
        if da is not None:
            avg_gaps.append((abs(da), n))
            if n >= hop + (mode == "limit"):
                behind.append((n, ol, ml))
    met = lambda ok: "met" if ok else "MISSED"
    where = "behind the lossy link" if mode == "loss" else f"after hop {hop}"
    if behind:
        mo = sum(b[1] for b in behind) / len(behind)
        mm = sum(b[2] for b in behind) / len(behind)
        limit = f"(target <= 3): {met(abs(mo - mm) <= 3)}" if mode == "loss" else ""
        print(f"  mean loss {where} (hops {','.join(str(b[0]) for b in behind)}): ours {mo:.1f}%  "
              f"mtr {mm:.1f}%  difference {mo - mm:+.1f} points {limit}")
    if loss_gaps:
        gap, at = max(loss_gaps)
        print(f"  largest loss difference at one hop: {gap:.1f} points at hop {at} (target <= 8): {met(gap <= 8)}")
    if avg_gaps:
        gap, at = max(avg_gaps)
        print(f"  largest avg difference: {gap:.2f} ms at hop {at} (target <= 0.3): {met(gap <= 0.3)}")
    with open(time_path) as f:
        user, system = (float(v) for v in f.read().split()[-2:])
    mtr_cpu = (user + system) * 1000 / rounds
    ours_cpu = float(info.get("process_cpu_ms_per_round", "nan"))
    print(f"  CPU per round: ours {ours_cpu:.3f} ms (whole process; the rounds alone "
          f"{float(info.get('cpu_ms_per_round', 'nan')):.3f} ms), mtr {mtr_cpu:.3f} ms "
          f"(target: ours <= mtr's): {met(ours_cpu <= mtr_cpu)}")
    print(f"  verdict: {info.get('text', '(none)')}")
    what = f"loss begins at hop {hop}" if mode == "loss" else f"hop {hop} limits its replies"
    print(f"  first sentence: {first_sentence(info.get('text', ''))}")
    print(f"  names the right hop ({what}): {'yes' if names_hop(info, mode, hop) else 'NO'}")


def main(argv):
    if len(argv) == 8 and argv[1] == "table":
        table(argv[2], argv[3], argv[4], int(argv[5]), argv[6], int(argv[7]))
    elif len(argv) == 5 and argv[1] == "verdict":
        _, info = read_ours(argv[2])
        print("yes" if names_hop(info, argv[3], int(argv[4])) else "no", first_sentence(info.get("text", "")))
    else:
        print(__doc__, file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
