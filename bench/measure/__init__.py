"""Shared by the benchmarks: their world, the programs to compare, figures, tables, pictures."""
