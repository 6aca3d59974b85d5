"""Choosing word lengths: what values need, which types suit them, and which word lengths are the cheapest that do."""

from .observe import applied as applied, chosen as chosen, registers as registers
from .ranges import Ranges as Ranges, observe as observe
from .runs import Cheapest as Cheapest, Runs as Runs
from .search import bits as bits, minimize as minimize, sweep as sweep
