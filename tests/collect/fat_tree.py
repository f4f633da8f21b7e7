"""A two-level fat tree for ibsim: every leaf switch is linked to every spine.

Hosts come first: ibsim attaches programs at the first node unless SIM_HOST names another.
"""


def node(kind, ports, name, peers):
    lines = [f'{kind} {ports} "{name}"']
    lines += [f'[{port}]\t"{peer}"[{peer_port}]' for port, peer, peer_port in peers]
    return "\n".join(lines) + "\n\n"


def fat_tree(leaves, spines, hosts):
    text = ""
    for leaf in range(leaves):
        for host in range(hosts):
            text += node("Hca", 2, f"host-{leaf:03}-{host:02}", [(1, f"leaf-{leaf:03}", host + 1)])
    for leaf in range(leaves):
        down = [(host + 1, f"host-{leaf:03}-{host:02}", 1) for host in range(hosts)]
        up = [(hosts + spine + 1, f"spine-{spine:03}", leaf + 1) for spine in range(spines)]
        text += node("Switch", hosts + spines, f"leaf-{leaf:03}", down + up)
    for spine in range(spines):
        down = [(leaf + 1, f"leaf-{leaf:03}", hosts + spine + 1) for leaf in range(leaves)]
        text += node("Switch", leaves, f"spine-{spine:03}", down)
    return text
