"""Tests the mutations of script/mutate, and that a seed always selects the same ones."""

import sys
import unittest
from pathlib import Path

import answers
import plan
from operators import OPERATORS
from source import Source

ROOT = Path(__file__).resolve().parent.parent.parent


def in_function(code):
    return f"void F() {{\n  {code}\n}}\n"


def changes(kind, code):
    """Returns the results of one kind of mutation on the code of a function."""
    source = Source("optimizer/a.cc", in_function(code))
    texts = [plan.Mutant(kind, source, edit).text for edit in OPERATORS[kind](source)]
    return [text[len("void F() {\n  ") : -len("\n}\n")] for text in texts]


class OperatorsTest(unittest.TestCase):
    def check(self, kind, code, *expected):
        self.assertEqual(changes(kind, code), list(expected))

    def test_comparison(self):
        self.check("comparison", "return a < b;", "return a <= b;", "return a >= b;")
        self.check("comparison", "return a == b;", "return a != b;")

    def test_brackets_of_templates_are_no_comparison(self):
        self.check("comparison", "std::vector<int> a; std::map<int, std::vector<int>> b;")

    def test_connective(self):
        self.check("connective", "return a && b;", "return a || b;")
        self.check("connective", "for (auto&& each : a) F(each);")

    def test_negation(self):
        self.check("negation", "if (!a) F();", "if (a) F();")
        self.check("negation", "if (a || b) F();", "if (!(a || b)) F();")
        self.check("negation", "if (int a = F(); a > 0) G();")

    def test_decision(self):
        self.check("decision", "while (a) F();", "while (true) F();", "while (false) F();")

    def test_boolean(self):
        self.check("boolean", "return true;", "return false;")

    def test_arithmetic(self):
        self.check("arithmetic", "a = b + *c;", "a = b - *c;")
        self.check("arithmetic", "++a;", "--a;")

    def test_constant(self):
        self.check("constant", "a = 5'000;", "a = 5001;", "a = 4999;")
        self.check("constant", "a = 0x10U;", "a = 17U;", "a = 15U;")
        self.check("constant", "a = 0;", "a = 1;")
        self.check("constant", "a = ' ';", "a = '~';")

    def test_text(self):
        self.check("text", 'F("a");', 'F("~a");')
        self.check("text", 'LOG(INFO) << "a";')
        self.check("text", 'CHECK_TEXT(a, "a");')
        self.check("text", 'F();  // "a"')

    def test_statement(self):
        self.check("statement", "if (a) F();", "if (a) ;")
        self.check("statement", "if (a) return;", "if (a) ;")
        self.check("statement", "a = b; *c = d;", "; *c = d;", "a = b; ;")
        self.check("statement", "std::string a; const int b = 1; Type c(d); x::y z = {};")
        self.check("statement", "if (a) LOG(INFO) << 1;")
        self.check("statement", "switch (a) { case 1: break; }", "switch (a) { case 1: ; }")
        self.check("statement", "F([&] { G(); });", ";", "F([&] { ; });")

    def test_order(self):
        self.check("order", "F(); G();", "G(); F();")
        self.check("order", "if (a) F(); G();")
        self.check("order", "return F(a, b(c, c));", "return F(b(c, c), a);")
        self.check("order", "a = b ? c : d(e);", "a = b ? d(e) : c;")

    def test_return(self):
        self.check("return", "return a;", "return {};")
        self.check("return", "if (a) return; return nullptr;")

    def test_row(self):
        source = Source("optimizer/a.cc", "constexpr A a = {{\n    {1, 2},\n    {3, 4},\n}};\n")
        rows = [source.text[edit.start : edit.end] for edit in OPERATORS["row"](source)]
        self.assertEqual(rows, ["{1, 2},", "{3, 4},"])

    def test_word(self):
        self.check("word", "return std::min(a, b);", "return std::max(a, b);")

    def test_what_decides_on_a_log_line_is_code(self):
        log = "LOG(INFO) << (c == d);"
        self.check("comparison", f"if (a == b) {log}", f"if (a != b) {log}")

    def test_what_is_declared_only_is_left_alone(self):
        text = "#if A == 1\nusing B = C<1>;\ntemplate <int d = 1>\nvirtual void E() = 0;\n#endif\n"
        source = Source("optimizer/a.h", text)
        self.assertEqual([edit for find in OPERATORS.values() for edit in find(source)], [])


class PlanTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sources = plan.read_sources(ROOT)

    def changes_of(self, count, seed):
        return [slot[0].change for slot in plan.make_plan(self.sources, count, seed)]

    def test_same_seed_same_plan(self):
        again = plan.read_sources(ROOT)
        changes = [slot[0].change for slot in plan.make_plan(again, 80, "1")]
        self.assertEqual(self.changes_of(80, "1"), changes)
        self.assertNotEqual(self.changes_of(80, "1"), self.changes_of(80, "2"))

    def test_has_as_many_as_asked_for_and_one_of_each_source(self):
        slots = plan.make_plan(self.sources, 60, "1")
        self.assertEqual(len(slots), 60)
        paths = {slot[0].path for slot in slots}
        for source in self.sources:
            if source.path.endswith(".cc") and plan.find_mutants(source):
                self.assertIn(source.path, paths)

    def test_has_one_of_each_source_if_fewer_are_asked_for(self):
        paths = [slot[0].path for slot in plan.make_plan(self.sources, 1, "1")]
        self.assertEqual(len(paths), len(set(paths)))
        self.assertTrue(all(path.endswith(".cc") for path in paths))

    def test_has_every_kind(self):
        kinds = {slot[0].kind for slot in plan.make_plan(self.sources, 120, "1")}
        self.assertEqual(kinds, set(OPERATORS))

    def test_leaves_tests_alone(self):
        for source in self.sources:
            self.assertNotIn("_test", source.path)
            self.assertNotIn("testing", source.path)


class AnswersTest(unittest.TestCase):
    BLOCK = (
        "# head\n\noptimizer/a.cc\n- F();\n- G();\n+ G();\n+ F();\n"
        "  Neither knows\n  the other.\n"
    )

    def setUp(self):
        source = Source("optimizer/a.cc", "void F() {\n  F();\n  G();\n}\n")
        self.mutants = plan.find_mutants(source)

    def test_finds_its_mutant(self):
        (answer,) = answers.parse(self.BLOCK)
        self.assertEqual(answer.reason, "Neither knows the other.")
        found = [mutant for mutant in self.mutants if answers.find([answer], mutant)]
        self.assertEqual([mutant.kind for mutant in found], ["order"])
        self.assertEqual(answers.find_stale([answer], self.mutants), [])

    def test_reads_what_is_printed(self):
        for mutant in self.mutants:
            (answer,) = answers.parse(answers.format_change(mutant) + "\n  A reason.\n")
            self.assertIs(answers.find([answer], mutant), answer)

    def test_is_stale_without_a_mutant(self):
        (answer,) = answers.parse(self.BLOCK.replace("F", "H"))
        self.assertEqual(answers.find_stale([answer], self.mutants), [answer])

    def test_needs_a_reason(self):
        with self.assertRaises(ValueError):
            answers.parse("optimizer/a.cc\n- F();\n+ G();\n")


if __name__ == "__main__":
    sys.exit(unittest.main())
