"""What the benchmarks share: a world to run in, the programs beside the daemon, figures, tables, pictures."""
