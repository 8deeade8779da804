"""Runs the benchmarks side by side, and makes docs/performance.md of what they measured."""
