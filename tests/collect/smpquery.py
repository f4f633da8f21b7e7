"""What smpquery prints, as a snapshot has it."""
import re

# The records' fields, and what smpquery calls them.
NODE_INFO = {"BaseVersion": "BaseVers", "ClassVersion": "ClassVers", "PartitionCap": "PartCap",
             "DeviceID": "DevId", "revision": "Revision", "VendorID": "VendorId"}
SWITCH_INFO = {"LinearFDBCap": "LinearFdbCap", "RandomFDBCap": "RandomFdbCap", "MCastFDBCap": "McastFdbCap",
               "OptimizedSLVLMapping": "OptSLtoVLMapping", "LidsPerPort": "LidsPerPort",
               "PartEnfCap": "PartEnforceCap", "InbEnfCap": "InboundPartEnf", "OutbEnfCap": "OutboundPartEnf",
               "FilterRawInbCap": "FilterRawInbound", "FilterRawOutbCap": "FilterRawOutbound",
               "ENP0": "EnhancedPort0"}
PORT_INFO = {"CapMsk": "CapMask", "CapMsk2": "CapabilityMask2", "LinkWidthSup": "LinkWidthSupported",
             "LinkSpeedSup": "LinkSpeedSupported", "LinkSpeedExtSup": "LinkSpeedExtSupported",
             "MTUCap": "MtuCap"}
# How it spells the values of these, which are sets of bits or codes.
WORDS = {"LinkWidthSupported": {"1X": 1, "4X": 2, "8X": 4, "12X": 8, "2X": 16},
         "LinkSpeedSupported": {"2.5 Gbps": 1, "5.0 Gbps": 2, "10.0 Gbps": 4},
         "LinkSpeedExtSupported": {"14.0625 Gbps": 1, "25.78125 Gbps": 2, "53.125 Gbps": 4},
         "MtuCap": {"256": 1, "512": 2, "1024": 3, "2048": 4, "4096": 5}}
STATES = {"Down": "down", "Initialize": "initialize", "Armed": "armed", "Active": "active"}


def fields(text):
    """The values that it printed, by its names."""
    return dict(re.findall(r"^(\w+):\.*(.+)$", text, re.MULTILINE))


def number(name, text):
    words = WORDS.get(name)
    return sum(words[word] for word in text.split(" or ")) if words and text != "0" else int(text, 0)


def record(names, printed):
    return {field: number(name, printed[name]) for field, name in names.items()}


def port_info(printed):
    """It does not print LinkSpeedExtSup2."""
    return {**record(PORT_INFO, printed), "LinkSpeedExtSup2": 0}
