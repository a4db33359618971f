#!/usr/bin/env python3
"""Lists the include cycles among units (a header with its source) and among folders.

usage: scripts/include-cycles.py [FOLDER...]     default: BeaconSDK tools
Prints each cycle with one include per step; exits 1 when there is one.
"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def includes(tops):
    """Yields (file, included file) for every include of a file of the project."""
    for top in tops:
        for file in sorted(pathlib.Path(top).rglob('*')):
            if file.suffix not in ('.h', '.cpp'):
                continue
            for name in INCLUDE.findall(file.read_text()):
                target = next((p for p in (pathlib.Path(name), file.parent / name) if p.exists()), None)
                if target:
                    yield file, target


def find_cycle(graph):
    """Returns the nodes of one cycle in order, or an empty list."""
    finished = set()
    for start in graph:
        path, walks = [start], [iter(graph[start])]
        while walks and start not in finished:
            node = next(walks[-1], None)
            if node is None:
                finished.add(path.pop())
                walks.pop()
            elif node in path:
                return path[path.index(node):]
            elif node not in finished:
                path.append(node)
                walks.append(iter(graph.get(node, ())))
    return []


def report_cycles(kind, node_of, edges):
    """Prints the cycles among the nodes; returns how many there are. Each found cycle loses a step."""
    graph = {}
    for file, target in edges:
        if node_of(file) != node_of(target):
            graph.setdefault(node_of(file), {}).setdefault(node_of(target), f'{file} includes {target}')
    count = 0
    while cycle := find_cycle(graph):
        count += 1
        print(f'cycle of {len(cycle)} {kind}:')
        for node, after in zip(cycle, cycle[1:] + cycle[:1]):
            print(f'  {graph[node][after]}')
        del graph[cycle[-1]][cycle[0]]
    return count


def main():
    edges = list(includes(sys.argv[1:] or ['BeaconSDK', 'tools']))
    if not edges:
        sys.exit('include-cycles: no include found: wrong folder?')
    count = report_cycles('units', lambda file: str(file.with_suffix('')), edges)
    count += report_cycles('folders', lambda file: str(file.parent), edges)
    sys.exit(1 if count else 0)


main()
