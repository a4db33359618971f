"""Many visitors: what a campaign does, before it runs. Needs pandas, and Dask for workers."""

from ksbeacon.studies._batch import LATE, RULES, WorkerError
from ksbeacon.studies._compare import Comparison, compare, paired
from ksbeacon.studies._study import Study, study

__all__ = ["LATE", "RULES", "Comparison", "Study", "WorkerError", "compare", "paired", "study"]
