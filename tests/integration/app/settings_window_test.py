#!/usr/bin/python3
"""The settings window as a person meets it, inside scripts/test-env.

Runs the program on an X server of its own (the window is taller than the test server's heads)
with a session bus and the AT-SPI bus, finds every control by the name assistive technology reads,
presses them through AT-SPI actions, and judges the result where a person would: the texts on
screen, the QR code scanned back from a screenshot by zbarimg, a paired controller that is
disconnected. Screenshots of every page are kept in the output folder.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest

ARGS = None
# Imported once the private session bus is up: it finds the AT-SPI bus through it.
pyatspi = None


def wait_until(condition, what, seconds=20.0):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.1)
    raise AssertionError(f"timed out waiting for {what}")


def showing(node):
    try:
        return node.getState().contains(pyatspi.STATE_SHOWING)
    except Exception:
        return False


def descendants(node):
    for child in node:
        if child is None:
            continue
        yield child
        yield from descendants(child)


class Desktop:
    """Xvfb, a session bus and the AT-SPI bus, private to this run."""

    def __init__(self, folder):
        self.processes = []
        read, write = os.pipe()
        self.start(["Xvfb", "-displayfd", str(write), "-screen", "0", "1024x800x24", "-nolisten",
                    "tcp", "-nolock"], pass_fds=(write,))
        os.close(write)
        with os.fdopen(read) as display:
            os.environ["DISPLAY"] = ":" + display.readline().strip()
        bus = subprocess.run(["dbus-daemon", "--session", "--fork", "--print-address=1",
                              "--print-pid=1", f"--address=unix:path={folder}/bus"],
                             capture_output=True, text=True, check=True).stdout.split()
        self.bus_pid = int(bus[1])
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus[0]
        self.start(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        wait_until(lambda: subprocess.run(
            ["dbus-send", "--session", "--dest=org.a11y.Bus", "--print-reply", "/org/a11y/bus",
             "org.a11y.Bus.GetAddress"], capture_output=True).returncode == 0, "the AT-SPI bus")

    def start(self, command, **kwargs):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   **kwargs)
        self.processes.append(process)
        return process

    def stop(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait(10)
        os.kill(self.bus_pid, 15)


class SettingsWindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="settings-window-")
        os.makedirs(ARGS.out, exist_ok=True)
        cls.desktop = Desktop(cls.folder)
        global pyatspi
        import pyatspi
        # Qt 6.4 exports its widgets only when a screen reader has announced itself; this is its
        # own switch for clients that do not.
        env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="xcb")
        cls.program = subprocess.Popen([ARGS.program], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True, env=env)
        cls.link = cls.program.stdout.readline().strip()
        cls.port = int(re.search(r"port (\d+)", cls.program.stdout.readline()).group(1))
        cls.window = wait_until(cls.find_window, "the settings window over AT-SPI")

    @classmethod
    def tearDownClass(cls):
        cls.program.terminate()
        cls.program.wait(10)
        cls.desktop.stop()

    @classmethod
    def find_window(cls):
        for app in pyatspi.Registry.getDesktop(0):
            if app is not None and app.name == os.path.basename(ARGS.program):
                for window in app:
                    if window.getRoleName() == "frame" and window.name == "Quillvane":
                        return window
        return None

    def control(self, role, name, within=None):
        return wait_until(lambda: next(
            (node for node in descendants(within or self.window)
             if node.getRoleName() == role and node.name == name and showing(node)), None),
            f"{role} '{name}'")

    def press(self, role, name, within=None):
        node = self.control(role, name, within)
        node.queryAction().doAction(0)

    def click(self, node):
        x, y, width, height = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        subprocess.run(["xdotool", "mousemove", str(x + width // 2), str(y + height // 2),
                        "click", "1"], check=True)

    def open_page(self, name):
        self.press("list item", name)
        wait_until(lambda: any(node.getRoleName() == "label" and showing(node)
                               and node.name == name for node in descendants(self.window)),
                   f"the page '{name}'")

    def visible_texts(self):
        return {node.name for node in descendants(self.window)
                if showing(node) and node.name and node.getRoleName() in
                ("label", "push button", "check box", "radio button", "list item", "combo box")}

    def screenshot(self, name):
        path = os.path.join(ARGS.out, name + ".png")
        x, y, width, height = self.window.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        time.sleep(0.3)  # the last repaint reaches the X server after the state change
        subprocess.run(["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", path],
                       check=True)
        return path

    def scanned_codes(self):
        path = self.screenshot("qr-scan")
        result = subprocess.run(["zbarimg", "--quiet", "--raw", path], capture_output=True,
                                text=True)
        return result.stdout.split()

    def test_pairing_code_scans_to_the_link_and_revoking_changes_it(self):
        self.open_page("连接与控制")
        self.assertEqual(self.scanned_codes(), [], "the code shows before it was asked for")
        self.press("push button", "显示配对码")
        self.control("label", "配对码包含控制这台 Mac 的密钥，请只在自己的手机上扫描。")
        self.assertEqual(self.scanned_codes(), [self.link])
        self.screenshot("connection-zh")

        controller = subprocess.Popen(
            [ARGS.controller, "--host", "127.0.0.1", "--port", str(self.port), self.link,
             "wait 60"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        try:
            self.control("label", "iPhone 已连接")
            self.press("push button", "撤销配对并换码")
            dialog = wait_until(lambda: next(
                (node for node in descendants(pyatspi.Registry.getDesktop(0))
                 if node.getRoleName() in ("dialog", "alert") and showing(node)), None),
                "the confirmation")
            self.control("label", "已连接的手机会断开，需要重新扫码配对。", dialog)
            self.press("push button", "撤销并生成新码", dialog)
            controller.wait(20)
        finally:
            controller.kill()
        self.control("label", "等待 iPhone 连接")
        codes = wait_until(lambda: [code for code in self.scanned_codes() if code != self.link],
                           "a new code")
        self.assertEqual(len(codes), 1)
        self.assertRegex(codes[0], r"^quillvane://pair\?id=.*&key=[0-9a-f]{64}$")
        self.assertNotEqual(re.search("key=(.*)", codes[0]).group(1),
                            re.search("key=(.*)", self.link).group(1))

    def test_voice_page_offers_every_setting(self):
        self.open_page("语音输入")
        texts = self.visible_texts()
        for text in ("虚拟麦克风", "Quillvane Microphone 尚未安装", "安装 / 修复麦克风",
                     "音频输出设备", "使用 Quillvane 麦克风", "刷新", "按住录音，松开停止",
                     "按一次开始，再按一次停止（Typeless）", "启动等待", "0.3 秒", "Ctrl", "Alt"):
            self.assertIn(text, texts)
        # Dropping every modifier of a modifiers-only shortcut is explained with the core's text.
        self.press("check box", "Ctrl")
        self.press("check box", "Alt")
        combo = self.control("combo box", "空格")
        self.click(combo)
        self.click(self.control("list item", "仅修饰键", combo))
        self.control("label", "请选择语音快捷键；仅修饰键模式需要至少一个修饰键")
        self.press("check box", "Ctrl")
        wait_until(lambda: "请选择语音快捷键；仅修饰键模式需要至少一个修饰键"
                   not in self.visible_texts(), "the explanation to go")
        self.screenshot("voice-zh")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--controller", required=True)
    parser.add_argument("--out", required=True)
    ARGS, rest = parser.parse_known_args()
    if os.environ.get("QUILLVANE_TEST_ENV") != "1":
        sys.exit("run inside scripts/test-env")
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
