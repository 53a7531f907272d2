# SPDX-License-Identifier: Apache-2.0
#
# What `prepare` shall reach, and where it does not. All figures are percentages of characters.
import dataclasses

_NEVER_WORSE_BY = 0.3
_FEW_DPI = (75, 100)
_FEW_DPI_SHARE = 0.1
_BEHIND_BEST_PEER = 0.2


@dataclasses.dataclass(frozen=True)
class Goal:
    text: str
    misses: tuple  # of what missed it, in words


def _missed(results, rows, bound):
    """The rows on which `prepare` is above bound(row)."""
    return tuple(
        f"{row}: {results.mean(row, 'prepare'):.2f}, not {bound(row):.2f}"
        for row in rows if results.mean(row, "prepare") > bound(row))


def never_worse(results):
    text = (f"`prepare` is never more than {_NEVER_WORSE_BY} points above the unconverted page, "
            "on any row")
    return Goal(text, _missed(results, results.rows,
                              lambda row: results.mean(row, "asis") + _NEVER_WORSE_BY))


def few_dpi(results):
    text = "at 75 and 100 dpi grey it leaves at most a tenth of the errors"
    rows = [row for row in results.rows if row.depth == "grey" and row.dpi in _FEW_DPI]
    return Goal(text, _missed(results, rows,
                              lambda row: results.mean(row, "asis") * _FEW_DPI_SHARE))


def near_the_best_peer(results):
    def best(row):
        return min(results.mean(row, peer.name) for peer in results.peers
                   if results.has(row, peer.name))

    text = f"on each row it is within {_BEHIND_BEST_PEER} points of the best peer"
    return Goal(text, _missed(results, results.rows, lambda row: best(row) + _BEHIND_BEST_PEER))


def ahead_in_the_mean(results):
    misses = []
    for peer in results.peers:
        rows = [row for row in results.rows if results.has(row, peer.name)]
        own, other = (results.mean_over(rows, name) for name in ("prepare", peer.name))
        if own >= other:
            misses.append(f"{peer.title}: {own:.2f}, not below {other:.2f}")
    return Goal("it is ahead of each peer in the mean over all rows that the peer has",
                tuple(misses))


def own_goals(results):
    """Those that need no peer."""
    return [never_worse(results), few_dpi(results)]


def all_goals(results):
    goals = own_goals(results)
    if results.peers:
        goals += [near_the_best_peer(results), ahead_in_the_mean(results)]
    return goals
