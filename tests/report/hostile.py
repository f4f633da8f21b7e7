"""A snapshot of nodes whose names are what one would call a device to harm whoever looks at a report of it."""

import json

MARKUP = "<img src=x onerror=alert(1)>"
NAMES = [
    MARKUP, "</script><script>alert(1)</script>", '"><svg onload=alert(1)>', "<!--<script>", "]]>", "-->", "</style>",
    "&lt;b&gt;&#0;", "';alert(1)//", '");alert(1);("', "${alert(1)}", "{{data}}", "{{script}}", "`", "javascript:alert(1)",
    "*/", "//", "#include", "%n%s", "../../x", "\\u0022", "\\u003c/script>", "$&", "node=NODE", "NODE", "__proto__",
    "constructor", "\u0645\u0631\u062d\u0628\u0627", "\U0001f5a7", "R\"(", "\u00e9" * 60, "x" * 64,
]


def snapshot():
    """Of switches in a ring, each with a reason why it has no PortInfo; and a link to a node that is not there."""
    lines = [{"fabric_snapshot": 1, "source": MARKUP, "fabric": "</title><script>alert(2)</script>", "collected_at": "</script>"}]
    for i, name in enumerate(NAMES):
        links = [{"num": 1, "link": {"node": NAMES[i + 1] if i + 1 < len(NAMES) else "<b>gone</b>", "port": 2}, "absent":
                  {"SMP_PortInfo": f"</script>{name}"}}, {"num": 2}]
        lines.append({"name": name, "guid": i + 1, "type": "switch", "num_ports": 2, "ports": links,
                      "description": name, "absent": {"SMP_NodeInfo": name}})
    return "".join(json.dumps(line) + "\n" for line in lines)
