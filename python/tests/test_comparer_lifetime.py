import threading

import pytest

import ormavec


def _lines(n):
    lines = ormavec.LINES()
    for k in range(n):
        line = ormavec.LINE_ENT()
        line.StartX = float((k * 7919) % n)
        lines.Add(line)
    return lines


def test_new_comparers_replace_old_ones_with_the_lock_held():
    lines = _lines(50)
    for k in range(200):
        lines.Sort(Comparer=lambda a, b, k=k: (a.StartX > b.StartX) - (a.StartX < b.StartX))
    assert [ln.StartX for ln in lines] == sorted(ln.StartX for ln in lines)


@pytest.mark.parametrize("comparer, error", [
    (lambda a, b: 1 // 0, ZeroDivisionError),
    (lambda a, b: a.StartX < b.StartX, TypeError),
    (lambda a, b: 0.5, TypeError),
])
def test_a_failing_comparer_raises_and_the_list_survives(comparer, error):
    lines = _lines(20)
    with pytest.raises(error):
        lines.Sort(Comparer=comparer)
    assert sorted(ln.StartX for ln in lines) == [float(k) for k in range(20)]
    lines.Sort(Comparer=lambda a, b: int(b.StartX - a.StartX))


def test_sorts_in_two_threads():
    def work():
        lines = _lines(100)
        for _ in range(30):
            lines.Sort(Comparer=lambda a, b: int(a.StartX - b.StartX))
    threads = [threading.Thread(target=work) for _ in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()


def test_a_comparer_that_changes_the_list_it_sorts():
    lines = _lines(40)
    for comparer in lambda a, b: lines.append(ormavec.LINE_ENT()) or 0, lambda a, b: lines.clear() or 0:
        try:  # either the sort completes or it stops with an error; no crash
            lines.Sort(Comparer=comparer)
        except ormavec.Error as e:
            assert "during Sort" in str(e)
