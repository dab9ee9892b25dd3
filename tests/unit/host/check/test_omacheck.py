#!/usr/bin/env python3
"""What omacheck says of configurations: each complaint with its line, element and what was expected.

The program is the argument; the configuration of tests/data is changed here and there.
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[4]
BASE = (ROOT / "tests" / "data" / "config" / "base.xml").read_text()
PROGRAM = None

# replaced, by what, the line that is named, what is said of it
ATTRIBUTES = (
    ('"active-power"', '"power"', '<Job ',
     'element Job, attribute JobMode: "power" is not one of 0, 1, active-power, vpad'),
    ('"maximum"', '"Maximum"', '<OMA ',
     'element OMA, attribute InputMode: "Maximum" is not one of 0, 1, 2, maximum, minimum, divisor'),
    ('Port="4712"', 'Port="70000"', '<VDS', 'element VDS, attribute Port: "70000" is not a port from 1 to 65535'),
    ('Port="4712"', 'Port="0"', '<VDS', 'element VDS, attribute Port: "0" is not a port from 1 to 65535'),
    ('IPAddr="127.0.0.1"', 'IPAddr=""', '<VDS', 'element VDS, attribute IPAddr: "" is not an address'),
    ('TimeoutInMs="5000" ', '', '<OMA ',
     'element OMA, attribute TimeoutInMs: missing, expected a whole number from 0 to 4294967295'),
    ('TimeoutInMs="5000"', 'TimeoutInMs="-1"', '<OMA ', 'attribute TimeoutInMs: "-1" is not a whole number'),
    ('IsEnabledNTM=', 'IsEnabledNtm=', '<OMA ',
     'element OMA, attribute IsEnabledNtm: unknown, expected one of Id, InputMode, IsActive, IsEnabledNTM, Name, '
     'TimeoutInMs'),
    ('PSMagnitudeWarning="0.25"', 'PSMagnitudeWarning="INF"', '<PSMagnitude ',
     'element PSMagnitude, attribute PSMagnitudeWarning: "INF" is not a decimal number such as 0.25 or 4e7'),
    ('PSMagnitudeWarning="0.25"', 'PSMagnitudeWarning="0,25"', '<PSMagnitude ', '"0,25" is not a decimal'),
    ('PSMagnitudeWarning="0.25"', 'PSMagnitudeWarning="1e99"', '<PSMagnitude ', '"1e99" is out of range'),
    ('"damping-ratio"', '"5"', '"5"', 'element Output, attribute PhysType: "5" is not one of 0, 1, 2, 3,'),
    ('"damping-ratio"', '"magnitude"', 'RefID="9012"', 'attribute PhysType: "magnitude" is used on line'),
    ('Type="distinct"', 'Type="0"', 'Type="0"', 'element PSEvent, attribute Type: "0" is used on line'),
    ('PhaseType="1" RefID="1012"', 'PhaseType="3" RefID="1012"', 'RefID="1012"',
     'element Input, attribute PhaseType: "3" is not one of 0, 1, 2'),
    ('PhaseType="1" RefID="1012"', 'PhaseType="0" RefID="1012"', 'RefID="1012"', '"0" is used on line'),
    ('NoOfSamples="512"', 'NoOfSamples="500"', '<SpectralDataSets', '"500" is not a power of two'),
    ('NoOfSamples="10" ReportingRate="1"', 'NoOfSamples="10" ReportingRate="0"', '<PSModes',
     'attribute ReportingRate: "0" is not a rate other than 0'),
    ('Id="1012"', 'Id="1011"', 'North U L2', 'element Datapoint, attribute Id: "1011" is used on line 8 already'),
    ('Id="102" ', 'Id="0101" ', 'North current',
     'element MeasurementUnit, attribute Id: "0101" is used on line 7 already'),
    ('Id="5000"', 'Id="99999999999"', '99999999999', '"99999999999" is not a whole number from 0'),
    ('PhaseType="1" RefID=', 'PhaseType="1" RefId="1" RefID=', 'RefID="1012"',
     'element Input, attribute RefId: unknown, expected one of PhaseType, RefID\n'),
    ('<Job Name="NORTH_POWER"', '<Job Name="NORTH&#10;POWER"', '<Job ',
     'element Job, attribute Name: "NORTH POWER" is not a name of at most 255 characters without line break'),
    ('Name="North voltage"', 'Name="North\u2028voltage"', 'voltage" Rep', 'without line break'),
    ('<PSDampingRatio ', '<PSDamping ', '<PSDamping ', 'element PSDamping: This element is not expected. Expected'),
    ('<SpectralDataSet SamplesMultiplier="1"', '<!-- --><SpectralDataSet SamplesMultiplier="1" Foo="1"', 'Foo=',
     'element SpectralDataSet, attribute Foo: unknown'),
    ('<Configuration>', '<Configuration>text', '<Configuration>', 'element Configuration: Character content'),
)

# content of Synchrophasors, what is said of it
STREAMS = (
    ('<Stream Name="north" StreamId="60"', 'element Stream, attribute Host: missing, expected the address'),
    ('<Stream Name="north" Host="h" StreamId="0"',
     'element Stream, attribute StreamId: "0" is not an IDCODE from 1 to 65534'),
    ('<Stream Name="north" Host="h" StreamId="60" Transport="serial"',
     'attribute Transport: "serial" is not one of tcp, udp, tcp-udp, spontaneous'),
    ('<Stream Name="north" StreamId="60" Transport="spontaneous"',
     'element Stream, attribute UdpPort: missing, expected the local port'),
    ('<Stream Name="north" Host="h" StreamId="60"/>', 'element Stream: Missing child element(s)'),
    ('<Stream Name="north" Host="h" StreamId="60"><Phasor Name="VA" Datapoint="5000"/></Stream>',
     'element Phasor, attribute Datapoint: "5000" is not a data point of a MeasurementUnit'),
    ('<Stream Name="north" Host="h" StreamId="60"><Phasor Name="VA" Datapoint="1011"/>'
     '<Phasor Name="VB" Datapoint="1011"/></Stream>',
     'element Phasor, attribute Datapoint: "1011" is used on line 4 already'),
    ('<Output Name="results"/>', 'element Output, attribute Port: missing, expected Port or UdpPort or both'),
    ('<Output Name="results" Port="1" Nominal="55"/>', 'attribute Nominal: "55" is not one of 50, 60'),
)

# replaced in the clean configuration, by what, the line that is named, what is said of it
WARNINGS = (
    ('"10" ReportingRate="1">', '"10" ReportingRate="2">', '<PSModes', '2 passes a second'),
    ('"10" ReportingRate="1">', '"10" ReportingRate="3">', '<PSModes', 'a pass every 16.6667 samples'),
    ('"0.25" MaxFrequency="0.9"', '"0.25" MaxFrequency="0.8"', '<PSMode ', '0.8 Hz is also the edge'),
    ('"0.25" MaxFrequency="0.9"', '"0.2" MaxFrequency="0.9"', '<PSMode ', '0.2 Hz is also the edge'),
    ('"0.25" MaxFrequency="0.9"', '"3" MaxFrequency="4"', '<PSMode ', 'outside all bands, 0.05 to 3 Hz'),
    ('"0.25" MaxFrequency="0.9"', '"0" MaxFrequency="0.04"', '<PSMode ', 'outside all bands'),
    ('"0.25" MaxFrequency="0.9"', '"0.5" MaxFrequency="0.5"', '<PSMode ', 'both limits are 0.5 Hz'),
    ('Type="critical" IsActive="true"', 'Type="critical" IsActive="false"', '<PSEvents>',
     'critical is off, without effect: notified is on'),
    ('PSMagnitudeAlarm="0.5"', 'PSMagnitudeAlarm="0.2"', '<PSMagnitude ', 'is not above'),
    ('Nominal="40000000"', 'Nominal="0"', '<PSMagnitude ', 'the warning limit is 0'),
    ('PSDampingRatioAlarm="-0.03"', 'PSDampingRatioAlarm="-0.05"', '<PSDampingRatio ', 'both limits are the same'),
    ('NoOfSamples="512"', 'NoOfSamples="128"', '<SpectralDataSets', 'holds 2.048 periods'),
    ('UpperCutOffFrequency="3.0"', 'UpperCutOffFrequency="26"', '<SpectralDataSets', 'half the sample rate, 25 Hz'),
    ('NoOfSamples="512"', 'NoOfSamples="2048"', '<SpectralDataSets', '40.96 s to fill: event 4202'),
    ('NoOfSamples="512"', 'NoOfSamples="1024"', '<SpectralDataSets', 'and connection loss but not at the start'),
    ('"10" ReportingRate="1">', '"10" ReportingRate="-30">', '<PSModes', 'a pass every 30 s: event 4202'),
    ('IsUsingNTM="false"', 'IsUsingNTM="true"', '<Job ', 'only vpad jobs react to'),
    ('Id="500" IsActive="true"', 'Id="500" IsActive="false"', '<OMA ', 'none of its jobs is'),
    ('SamplesMultiplier="4"', 'SamplesMultiplier="3"', 'SamplesMultiplier="3"',
     'SamplesMultiplier 3 is not a power of two: a swing of 1 Hz will be reported as one of 1.33333 Hz'),
    ('PSMagnitudeWarning="0.25" PSMagnitudeAlarm="0.5"', 'PSMagnitudeWarning="25" PSMagnitudeAlarm="50"',
     '<PSMagnitude ', 'a limit is 50 times Nominal'),
    ('PSDampingRatioWarning="-0.05" PSDampingRatioAlarm="-0.03"', 'PSDampingRatioWarning="-5" PSDampingRatioAlarm="-3"',
     '<PSDampingRatio ', 'the limit -5 is below -1, the lowest possible ratio'),
    ('Job Name="NORTH_POWER"', 'Job Name="../a\\b"', '<Job ', 'where it becomes ".._a_b": expected no'),
    ('IPAddr="127.0.0.1"', 'IPAddr="grid-server"', '<VDS ', 'must be an address of this machine'),
    ('PhysType="magnitude" RefID="9011"', 'PhysType="magnitude" RefID="4711"', '<PSMode ',
     'RefID of magnitude 4711 is not a Datapoint of this file'),
    ('PhysType="magnitude" RefID="9011"', 'PhysType="magnitude" RefID="9010"', '<PSMode ',
     'RefID of magnitude 9010 is already written by the element on line'),
    ('PhysType="magnitude" RefID="9011"', 'PhysType="magnitude" RefID="1011"', '<PSMode ',
     'RefID of magnitude 1011 is also an input of Job "NORTH_POWER"'),
)

# replaced in the element VDS of the clean configuration, by what, what is said of it
ADDRESSES = (
    ('127.0.0.1"', '127.0.0.300"', 'element VDS: "127.0.0.300" is not a valid address, expected four numbers'),
    ('127.0.0.1"', '1:2:3"', '"1:2:3" is not a valid address'),
    ('127.0.0.1"', '192.0.2.10"', '"192.0.2.10" can be reached from other machines, expected element Security'),
    ('"4713"', '"4712"', 'Port and PortApplicationData are both 4712, expected two different ports'),
    ('"4713"/>', '"4713"><Synchrophasors><Output Name="o" Port="4712"/></Synchrophasors></VDS>',
     'element Output "o": port 4712 is already used by VDS, expected a port of its own'),
    ('"4713"/>',
     '"4713"><Synchrophasors><Stream Name="s" Host="10.0.0.256" StreamId="1">'
     '<Phasor Name="a" Datapoint="1011"/></Stream></Synchrophasors></VDS>',
     'element Stream "s": "10.0.0.256" is not a valid address'),
)


def changed(text, old, new, after=""):
    """With the first old after the first after replaced."""
    begin = text.index(old, text.index(after))
    return text[:begin] + new + text[begin + len(old):]


def without(text, begin, end):
    """Without all from the first begin to the end of the next end."""
    at = text.index(begin)
    return text[:at] + text[text.index(end, at) + len(end):]


def line_of(text, what):
    return 1 + text[:text.index(what)].count("\n")


# The base without the warning that it has.
CLEAN = changed(BASE, 'MinFrequency="0.2" MaxFrequency="0.8"', 'MinFrequency="0.25" MaxFrequency="0.9"')
PHASOR = '><Phasor Name="VA" Datapoint="1011"/></Stream>'


class OmaCheck(unittest.TestCase):
    def check(self, text, **env):
        """@return whether it would be accepted, the findings and the figures."""
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "grid.xml"
            path.write_bytes(text if isinstance(text, bytes) else text.encode())
            run = subprocess.run([PROGRAM, path], capture_output=True, encoding="latin-1", timeout=120,
                                 env={k: v for k, v in os.environ.items() if k != "CREDENTIALS_DIRECTORY"} | env)
        self.assertIn(run.returncode, (0, 1), run.stderr)
        if run.returncode:
            return False, run.stderr, run.stdout
        warnings = [line for line in run.stdout.splitlines(True) if ": warning: " in line]
        return True, "".join(warnings), run.stdout[len("".join(warnings)):]

    def faults(self, text, **env):
        ok, findings, _ = self.check(text, **env)
        self.assertFalse(ok, findings)
        return findings

    def test_line_element_attribute_and_what_was_expected(self):
        for old, new, place, said in ATTRIBUTES:
            with self.subTest(new):
                text = changed(BASE, old, new)
                faults = self.faults(text)
                self.assertIn(f"grid.xml:{line_of(text, place)}: element ", faults)
                self.assertIn(said, faults)
                self.assertEqual(faults.count("\n"), 1, faults)

    def test_streams_that_do_not_hold(self):
        for streams, said in STREAMS:
            with self.subTest(streams):
                streams += "" if streams.endswith(">") else PHASOR
                inside = f'"4713"><Synchrophasors>{streams}</Synchrophasors></VDS>'
                faults = self.faults(changed(BASE, '"4713"/>', inside))
                self.assertIn("grid.xml:", faults)
                self.assertIn(said, faults)
                self.assertEqual(faults.count("\n"), 1, faults)

    def test_what_is_no_configuration_or_lacks_elements(self):
        for text, said in (
                ("", "grid.xml: empty, expected element Configuration"),
                (b"\xef\xbb\xbf", "expected well-formed XML"),
                ("hello", "grid.xml:1: expected well-formed XML: Start tag expected"),
                (b"\x7fELF\0\1\2\xff\xfe", "expected well-formed XML"),
                (bytes(100000), "expected well-formed XML"),
                (BASE[:len(BASE) // 2], "expected well-formed XML"),
                (changed(BASE, "</Jobs>", "</Job>"),
                 "element Jobs: expected well-formed XML: Opening and ending tag mismatch"),
                (changed(BASE, "North U L1", "North < L1"),
                 "grid.xml:8: element MeasurementUnit: expected well-formed XML"),
                (BASE.encode().replace(b"North U L1", b"North \xff\xfe"), "expected well-formed XML"),
                ("<OMAs/>", "grid.xml:1: element OMAs: not expected, expected Configuration"),
                ("<Configuration/>",
                 "grid.xml:1: element Configuration: Missing child element(s). Expected is one of ( VDS,"),
                ('<x:Configuration xmlns:x="urn:x"/>',
                 'not expected, expected Configuration without a namespace, not in "urn:x": remove xmlns:x'),
                ('<Configuration xmlns="urn:y"/>', 'without a namespace, not in "urn:y": remove xmlns'),
                (without(BASE, "<SpectralDataSet ", "/>"),
                 "element SpectralDataSets: Missing child element(s). Expected is"),
                (without(BASE, "<InputGroup ", "</InputGroup>"),
                 "element InputGroups: Missing child element(s). Expected"),
                (without(BASE, '<Output PhysType="magnitude"', "/>"),
                 f"grid.xml:{line_of(BASE, '<Outputs>')}: element Outputs: missing Output of PhysType magnitude, "
                 "expected each of the four once"),
                (without(without(BASE, '<Output PhysType="frequency"', "/>"), '<Output PhysType="damping-ratio"', "/>"),
                 "missing Output of PhysType frequency, damping-ratio, expected")):
            with self.subTest(text[:40]):
                self.assertIn(said, self.faults(text))

    def test_variables_in_names_of_files(self):
        text = changed(BASE, '"4713"/>', '"4713"><Security CAFile="/etc/ca.pem" '
                       'TokenFile="${CREDENTIALS_DIRECTORY}/oma.token"/></VDS>')
        self.assertIn("element Security, attribute TokenFile: the variable CREDENTIALS_DIRECTORY is not set",
                      self.faults(text))
        self.assertIn("expected no variable other than",
                      self.faults(text.replace("CREDENTIALS_DIRECTORY", "HOME"), CREDENTIALS_DIRECTORY="/run"))

    def test_entities_cannot_grow_nor_read_other_files(self):
        bomb = '<!DOCTYPE Configuration [<!ENTITY a0 "aaaaaaaaaa">'
        bomb += "".join(f'<!ENTITY a{n} "{f"&a{n - 1};" * 4}">\n' for n in range(1, 30)) + "]>"
        for text in (bomb + "<Configuration>&a29;</Configuration>", bomb + '<Configuration Name="&a29;"/>',
                     '<!DOCTYPE Configuration SYSTEM "file:///etc/passwd"><Configuration/>'):
            self.assertIn("a document type is not allowed", self.faults(text))

    def test_deep_and_huge_files_end_in_a_complaint(self):
        self.assertIn("expected well-formed XML: Excessive depth", self.faults("<Configuration>" * 100000))
        self.assertIn("too large, expected at most 16777216 bytes", self.faults(" " * (17 << 20)))
        self.assertLess(len(self.faults(changed(BASE, "active-power", "x" * 1000000))), 500, "named, not repeated")

    def test_attributes_without_number_are_no_work_for_the_parser(self):
        """Each would be held against all the others: minutes. Quotes, comments and values do not count."""
        many = "<!-- = < ' --><?x = ?><Configuration>\n<VDS a=\"<>\"" + "".join(f" a{n}=''" for n in range(300000))
        for text in (many + "/></Configuration>", b"\xfe\xff" + (many + "/></Configuration>").encode("utf-16-be")):
            self.assertIn("grid.xml:2: element VDS: has more than 200 attributes\n", self.faults(text))
        self.assertIn("element VDS, attribute IPAddr: ", self.faults(
            "<Configuration><!-- '" + 'a="b" ' * 300 + "--><VDS IPAddr='" + "=" * 300 + "'/></Configuration>"))

    def test_many_faults_are_counted(self):
        faults = self.faults(changed(BASE, "</Datapoints>", '<Datapoint Id="1011"/>\n' * 1000 + "</Datapoints>"))
        self.assertIn("grid.xml: and 950 more", faults)
        self.assertEqual(faults.count("\n"), 51)

    def test_every_fault_of_a_pass_stands_with_its_line(self):
        text = changed(BASE, 'PSDampingRatioAlarm="-0.03"', 'PSDampingRatioAlarm="0.01"')
        text = changed(text, 'SamplesMultiplier="4"', 'SamplesMultiplier="0"')
        text = changed(text, 'MaxFrequency="0.8"', 'MaxFrequency="0.1"')
        text = changed(text, 'RefID="1012"', 'RefID="4711"')
        faults = self.faults(text)
        for place, said in (
                ("<PSDampingRatio", 'element PSDampingRatio of Job "NORTH_POWER": Invalid damp.ratio alarm limit for '
                 'OMA job "NORTH_POWER" in KESTREL config.file, expected ratios of 0 or below'),
                ("<SpectralDataSets",
                 "Invalid freq.spec. multiplier for given OMA job in KESTREL config.file, expected"),
                ("<PSMode ", 'element PSMode 601 of Job "NORTH_POWER": Invalid PSM freq. boundaries: '
                 "Min.[Hz]=0.200000  Max.[Hz]=0.100000, expected"),
                ('<InputGroup SignalType="voltage"', "Invalid or undefined PMU in KESTREL config.file [ID=4711]; "
                 "Cannot retrieve PMU param.s; Cannot add 1st (internal) PMU object to OMA app., expected one phase or "
                 "all three")):
            self.assertIn(said, faults)
            self.assertIn(f"grid.xml:{line_of(text, place)}: ", faults)
        self.assertEqual(faults.count("\n"), 4)

    def test_warnings_of_what_works_against_the_user(self):
        self.assertEqual(self.check(CLEAN)[:2], (True, ""))
        for old, new, place, said in WARNINGS:
            with self.subTest(new):
                text = changed(CLEAN, old, new)
                ok, findings, _ = self.check(text)
                self.assertTrue(ok)
                self.assertIn(f"grid.xml:{line_of(text, place)}: warning: ", findings)
                self.assertIn(said, findings)
        # A mode without limits is none outside, and a switched-off level below the least one wanted has its effect.
        for old, new in (('"0.25" MaxFrequency="0.9"', '"0" MaxFrequency="0"'),
                         ('Type="notified" IsActive="true"', 'Type="notified" IsActive="false"')):
            self.assertEqual(self.check(changed(CLEAN, old, new))[:2], (True, ""))

    def test_what_two_elements_share_is_found_across_jobs_and_instances(self):
        """The whole instance once more: its ids, its job's name and outputs are there twice, and nothing else."""
        instance = CLEAN[CLEAN.index("<OMA "):CLEAN.index("</OMA>") + 6]
        ok, findings, _ = self.check(changed(CLEAN, "</OMAs>", instance + "</OMAs>"))
        self.assertTrue(ok)
        first = f"on line {line_of(CLEAN, '<Job ')}"
        for said in (f'OMA "GRID": Id 901 is already used on line {line_of(CLEAN, "<OMA ")}',
                     f'"NORTH_POWER": Id 500 is already used {first}',
                     f'Job "NORTH_POWER": the name is already used {first}',
                     f"OutputRefId 700 is already written by the element {first}",
                     'PSMode 601 of Job "NORTH_POWER": Id', "RefID of degree-of-exposure 9013 is already written by"):
            self.assertIn(said, findings)
        # Instance, job (id, name, output) and its one mode (id, four outputs).
        self.assertEqual(findings.count("\n"), 9, findings)

    def test_examples_give_no_warning(self):
        examples = list((ROOT / "config" / "examples").glob("*.xml"))
        self.assertGreaterEqual(len(examples), 5)
        for example in examples:
            self.assertEqual(self.check(example.read_bytes())[:2], (True, ""), example)

    def test_addresses_and_ports_that_cannot_serve(self):
        for old, new, said in ADDRESSES:
            with self.subTest(new):
                faults = self.faults(changed(CLEAN, old, new))
                self.assertIn(f"grid.xml:{line_of(CLEAN, '<VDS ')}: element ", faults)
                self.assertIn(said, faults)
                self.assertEqual(faults.count("\n"), 1, faults)
        for address in ("localhost", "::1", "127.0.0.2"):
            self.assertEqual(self.check(changed(CLEAN, "127.0.0.1", address))[:2], (True, ""), address)
        secure = changed(CLEAN, '"4713"/>', '"4713"><Security CAFile="ca.pem"/></VDS>')
        self.assertEqual(self.check(changed(secure, "127.0.0.1", "192.0.2.10"))[:2], (True, ""))

    def test_figures_follow_from_rate_and_samples(self):
        figures = self.check(CLEAN)[2]
        self.assertIn("reads a sample every 0.02 s (rate 50)", figures)
        # 512, 2048, 8192 samples of 0.02 s; 80 bytes at work and 16 in the queue for each.
        for row in ("0.8 to 3 512 10.24 0.097656 40", "0.2 to 0.8 2048 40.96 0.024414 160",
                    "0.05 to 0.2 8192 163.84 0.006104 640", "queue of samples: 128 KiB"):
            self.assertIn(row, re.sub(" +", " ", figures))


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
