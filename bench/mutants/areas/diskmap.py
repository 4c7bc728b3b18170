"""Faults in the disk map's squarified treemap layout."""

LAYOUT = "src/largefiles/TreemapLayout.cpp"

MUTANTS = [
    dict(name="diskmap: rows run along the longer side", file=LAYOUT,
         old="const bool column = right - left >= bottom - top;",
         new="const bool column = right - left < bottom - top;", tests="tst_treemaplayout"),
    dict(name="diskmap: a row is judged by its best ratio, not its worst", file=LAYOUT,
         old="    return std::max(side2 * largest / sum2, sum2 / (side2 * smallest));",
         new="    return std::min(side2 * largest / sum2, sum2 / (side2 * smallest));",
         tests="tst_treemaplayout"),
    # Never lays anything out: every row ends before its first item. Caught by the timeout.
    dict(name="diskmap: a row ends when the next item would make it better", file=LAYOUT,
         old="if (grown > worst)", new="if (grown < worst)", tests="tst_treemaplayout",
         timeout=60),
    dict(name="diskmap: the last row stops a rounding error short of the far edge",
         file=LAYOUT, old="end > last ? (column ? right : bottom) : start + sum / side",
         new="start + sum / side", tests="tst_treemaplayout"),
    dict(name="diskmap: each row starts over at the near edge", file=LAYOUT,
         old="        (column ? left : top) = across;\n", new="", tests="tst_treemaplayout"),
    dict(name="diskmap: a column is stacked from the bottom up", file=LAYOUT,
         old="QRectF(start, from, across - start, to - from)",
         new="QRectF(start, alongStart + alongEnd - to, across - start, to - from)",
         tests="tst_treemaplayout"),
    dict(name="diskmap: a zero size gets a sliver as thick as its row", file=LAYOUT,
         old="            if (sizes[i] <= 0)\n                continue;\n            done +=",
         new="            done +=", tests="tst_treemaplayout"),
    dict(name="diskmap: the total of the sizes overflows qint64", file=LAYOUT,
         old="    long double total = 0;", new="    qint64 total = 0;", tests="tst_treemaplayout"),
    dict(name="diskmap: negative sizes take room", file=LAYOUT,
         old="            if (sizes[end] <= 0)", new="            if (sizes[end] == 0)",
         tests="tst_treemaplayout"),
]
