#!/usr/bin/python3
"""The desktop program's settings window as a person meets it, inside scripts/test-env.

Runs `quillvane` itself on a desktop of its own: an X server taller than the window, a session bus
with the AT-SPI bus, a tray watcher with a panel registered, an unlocked keyring, a sound server
and private XDG folders. Every control is found by the name assistive technology reads and used
through AT-SPI, the keyboard or the tray's menu; results are judged where a person would: the
texts on screen, the QR code scanned back from a screenshot by zbarimg, the clipboard, a paired
controller that is disconnected, the autostart entry on disk. Screenshots of every page in both
languages are kept in the output folder.
"""

import argparse
import os
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest

ARGS = None
# Imported once the private session bus is up: they find their buses through it.
pyatspi = None
dbus = None

CJK = re.compile("[\u3000-\u303f\u3400-\u4dbf\u4e00-\u9fff\uff00-\uffef]")
LANGUAGE_NAMES = {"简体中文", "English"}


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
    """What a desktop session offers its programs, private to this run."""

    def __init__(self, folder):
        self.processes = []
        for name in ("config", "data", "cache"):
            os.environ[f"XDG_{name.upper()}_HOME"] = os.path.join(folder, name)
        read, write = os.pipe()
        self.start(["Xvfb", "-displayfd", str(write), "-screen", "0", "1024x800x24", "-nolisten",
                    "tcp", "-nolock"], pass_fds=(write,))
        os.close(write)
        with os.fdopen(read) as display:
            os.environ["DISPLAY"] = ":" + display.readline().strip()
        session = self.start([os.path.join(ARGS.services, "desktop"), os.path.join(folder, "desktop")],
                             stdout=subprocess.PIPE, text=True)
        if session.stdout.readline().strip() != "ready":
            raise RuntimeError("the desktop services did not come up")
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={folder}/desktop/bus"
        keyring = self.start(["gnome-keyring-daemon", "--foreground", "--unlock",
                              "--components=secrets"], stdin=subprocess.PIPE)
        keyring.stdin.write(b"quillvane-test")
        keyring.stdin.close()
        sound = os.path.join(folder, "sound")
        self.start([os.path.join(ARGS.services, "pulseaudio"), sound])
        os.environ["PULSE_SERVER"] = f"unix:{sound}/pulse/native"
        wait_until(lambda: os.path.exists(f"{sound}/pulse/native"), "the sound server")
        wait_until(lambda: subprocess.run(
            ["dbus-send", "--session", "--dest=org.freedesktop.secrets", "--print-reply",
             "/org/freedesktop/secrets", "org.freedesktop.DBus.Peer.Ping"],
            capture_output=True).returncode == 0, "the keyring")

    def start(self, command, **kwargs):
        kwargs.setdefault("stdout", subprocess.DEVNULL)
        process = subprocess.Popen(command, stderr=subprocess.DEVNULL, **kwargs)
        self.processes.append(process)
        return process

    def stop(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait(10)


class Program:
    """`quillvane --show-pairing` on the desktop, its output read as it comes."""

    def __init__(self):
        # Qt 6.4 exports its widgets only when a screen reader has announced itself; this is its
        # own switch for clients that do not.
        env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QPA_PLATFORM="xcb")
        # A Chinese desktop: the program's first language follows it.
        for name in ("LC_ALL", "LC_MESSAGES", "LANGUAGE"):
            env.pop(name, None)
        env["LANG"] = "zh_CN.UTF-8"
        self.process = subprocess.Popen([ARGS.program, "--show-pairing"], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, env=env)
        self.lines = queue.Queue()
        threading.Thread(target=self.read, daemon=True).start()
        self.port = self.link = None
        while self.port is None or self.link is None:
            line = self.lines.get(timeout=20)
            if match := re.match(r"Listening on port (\d+)$", line):
                self.port = int(match.group(1))
            elif line.startswith("quillvane://"):
                self.link = line

    def read(self):
        for line in self.process.stdout:
            self.lines.put(line.strip())

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(10)


class Tray:
    """The panel's side of the program's tray item: its menu over dbusmenu."""

    PROPERTIES = "org.freedesktop.DBus.Properties"

    def __init__(self):
        self.bus = dbus.SessionBus()

    def menu(self):
        watcher = self.bus.get_object("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher")
        items = watcher.Get("org.kde.StatusNotifierWatcher", "RegisteredStatusNotifierItems",
                            dbus_interface=self.PROPERTIES)
        if not items:
            return None
        service, path = str(items[0]).split("/", 1)
        item = self.bus.get_object(service, "/" + path)
        menu = item.Get("org.kde.StatusNotifierItem", "Menu", dbus_interface=self.PROPERTIES)
        return self.bus.get_object(service, menu)

    def entries(self):
        menu = self.menu()
        if menu is None:
            return {}
        _, layout = menu.GetLayout(0, -1, [], dbus_interface="com.canonical.dbusmenu")
        return {str(properties["label"]): int(entry_id)
                for entry_id, properties, _ in layout[2] if "label" in properties}

    def click(self, label):
        entry = wait_until(lambda: self.entries().get(label), f"the tray entry '{label}'")
        self.menu().Event(entry, "clicked", dbus.Int32(0), dbus.UInt32(0),
                          dbus_interface="com.canonical.dbusmenu")


class SettingsWindowTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="settings-window-")
        os.makedirs(ARGS.out, exist_ok=True)
        cls.desktop = Desktop(cls.folder)
        global pyatspi, dbus
        import dbus
        import pyatspi
        cls.tray = Tray()
        cls.program = Program()
        cls.tray.click("打开 Quillvane")
        cls.window = wait_until(cls.find_window, "the settings window over AT-SPI")

    @classmethod
    def tearDownClass(cls):
        cls.program.stop()
        cls.desktop.stop()
        shutil.rmtree(cls.folder, ignore_errors=True)

    @classmethod
    def find_window(cls):
        for app in pyatspi.Registry.getDesktop(0):
            if app is not None and app.name == "quillvane":
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
        self.control(role, name, within).queryAction().doAction(0)

    def click(self, node):
        x, y, width, height = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        subprocess.run(["xdotool", "mousemove", str(x + width // 2), str(y + height // 2),
                        "click", "1"], check=True)

    def choose(self, combo_name, item):
        combo = self.control("combo box", combo_name)
        self.click(combo)
        self.click(self.control("list item", item, combo))

    def pages(self):
        page_list = next(node for node in descendants(self.window) if node.getRoleName() == "list")
        return [item for item in page_list if item.getRoleName() == "list item"]

    def open_page(self, index):
        item = self.pages()[index]
        item.queryAction().doAction(0)
        wait_until(lambda: any(node.getRoleName() == "label" and showing(node)
                               and node.name == item.name for node in descendants(self.window)),
                   f"the page '{item.name}'")

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
        result = subprocess.run(["zbarimg", "--quiet", "--raw", self.screenshot("qr-scan")],
                                capture_output=True, text=True)
        return result.stdout.split()

    def clipboard(self):
        return subprocess.run(["xclip", "-selection", "clipboard", "-o"], capture_output=True,
                              text=True).stdout

    def test_1_pairing_code_shows_only_when_asked_and_revoking_renews_it(self):
        self.open_page(0)
        self.assertEqual(self.scanned_codes(), [], "the code shows before it was asked for")
        self.press("push button", "显示配对码")
        self.control("label", "配对码包含控制这台 Mac 的密钥，请只在自己的手机上扫描。")
        self.assertEqual(self.scanned_codes(), [self.program.link])
        self.press("push button", "复制配对链接")
        wait_until(lambda: self.clipboard() == self.program.link, "the link on the clipboard")
        self.screenshot("connection-zh")

        controller = subprocess.Popen(
            [ARGS.controller, "--host", "127.0.0.1", "--port", str(self.program.port),
             self.program.link, "wait 60"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
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
        codes = wait_until(lambda: [code for code in self.scanned_codes()
                                    if code != self.program.link], "a new code")
        self.assertEqual(len(codes), 1)
        self.assertRegex(codes[0], r"^quillvane://pair\?id=.*&key=[0-9a-f]{64}$")
        self.assertNotEqual(codes[0].split("key=")[1], self.program.link.split("key=")[1])

        # Ctrl+W closes the window; the tray brings it back with the code hidden again.
        self.click(self.control("label", "配对你的 iPhone，并开启鼠标与键盘控制。"))
        subprocess.run(["xdotool", "key", "ctrl+w"], check=True)
        wait_until(lambda: not showing(self.window), "the window to close")
        self.tray.click("打开 Quillvane")
        self.control("push button", "显示配对码")
        self.assertEqual(self.scanned_codes(), [])

    def test_2_voice_page_offers_every_setting(self):
        self.open_page(1)
        texts = self.visible_texts()
        for text in ("虚拟麦克风", "Quillvane Microphone 尚未安装", "安装 / 修复麦克风",
                     "音频输出设备", "Test_Speakers", "使用 Quillvane 麦克风", "刷新",
                     "按住录音，松开停止", "按一次开始，再按一次停止（Typeless）", "启动等待",
                     "0.3 秒", "Ctrl", "Alt"):
            self.assertIn(text, texts)
        # Dropping every modifier of a modifiers-only shortcut is explained with the core's text.
        self.press("check box", "Ctrl")
        self.press("check box", "Alt")
        self.choose("空格", "仅修饰键")
        self.control("label", "请选择语音快捷键；仅修饰键模式需要至少一个修饰键")
        self.press("check box", "Ctrl")
        wait_until(lambda: "请选择语音快捷键；仅修饰键模式需要至少一个修饰键"
                   not in self.visible_texts(), "the explanation to go")
        self.screenshot("voice-zh")

    def test_3_general_page_language_and_start_at_login(self):
        version = subprocess.run([ARGS.program, "--version"], capture_output=True, text=True,
                                 check=True).stdout.split()[-1]
        entry = os.path.join(os.environ["XDG_CONFIG_HOME"], "autostart", "quillvane.desktop")
        # The first run registered the program, at the path it runs from.
        with open(entry) as text:
            self.assertIn(f"Exec={os.path.realpath(ARGS.program)}\n", text.read())
        self.open_page(2)
        self.control("label", f"版本 {version}")
        self.press("check box", "开机自动启动")
        wait_until(lambda: not os.path.exists(entry), "the autostart entry to go")
        self.screenshot("general-zh")

        # The switch lasts: a later start leaves it off.
        self.tray.click("退出 Quillvane")
        self.assertEqual(self.program.process.wait(20), 0)
        self.assertEqual(self.tray.entries(), {})
        type(self).program = Program()
        self.assertFalse(os.path.exists(entry))
        self.tray.click("打开 Quillvane")
        type(self).window = wait_until(self.find_window, "the settings window again")
        self.open_page(2)
        self.press("check box", "开机自动启动")
        wait_until(lambda: os.path.exists(entry), "the autostart entry to come back")

        # English turns every text on every page and in the tray English, without a restart.
        self.choose("跟随系统", "English")
        for index, name in enumerate(("connection", "voice", "general")):
            self.open_page(index)
            foreign = {text for text in self.visible_texts()
                       if CJK.search(text) and text not in LANGUAGE_NAMES}
            self.assertEqual(foreign, set(), f"untranslated on the {name} page")
            self.screenshot(f"{name}-en")
        wait_until(lambda: "Quit Quillvane" in self.tray.entries(), "the tray in English")
        self.assertFalse([label for label in self.tray.entries() if CJK.search(label)])

        self.choose("English", "简体中文")
        self.control("label", "设置 Quillvane 的语言和启动方式。")
        wait_until(lambda: "退出 Quillvane" in self.tray.entries(), "the tray in Chinese")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--controller", required=True)
    parser.add_argument("--services", required=True)
    parser.add_argument("--out", required=True)
    ARGS, rest = parser.parse_known_args()
    if os.environ.get("QUILLVANE_TEST_ENV") != "1":
        sys.exit("run inside scripts/test-env")
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
