#!/usr/bin/python3
"""The desktop program as a person meets it, inside scripts/test-env.

Runs `quillvane` itself on a desktop of its own: an X server taller than the window, a session bus
with the AT-SPI bus, a tray (a StatusNotifierWatcher with a panel registered, or none, or one that
comes late, or an XEmbed panel), an unlocked keyring, a sound server and private XDG folders. Every
control is found by the name assistive technology reads and used through AT-SPI, the keyboard or
the tray's menu over dbusmenu; results are judged where a person would: the texts on screen, the
tray's menu and icon, the QR code scanned back from a screenshot by zbarimg, the clipboard, a
paired controller that is disconnected, the autostart entry on disk. Screenshots of every page in
both languages are kept in the output folder.
"""

import argparse
import array
import json
import math
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
import wave

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
    """What a desktop session offers its programs, private to this run; no tray until a test
    starts one. (One for the whole run: the AT-SPI client finds its bus only once.)"""

    def __init__(self, folder):
        self.processes = []
        session = self.start([os.path.join(ARGS.services, "desktop"), os.path.join(folder, "desktop"),
                              "--no-tray"], stdout=subprocess.PIPE, text=True)
        ready, _, display = session.stdout.readline().strip().partition(" ")
        if ready != "ready":
            raise RuntimeError("the desktop services did not come up")
        os.environ["DISPLAY"] = display
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={folder}/desktop/bus"
        sound = os.path.join(folder, "sound")
        self.start([os.path.join(ARGS.services, "pulseaudio"), sound])
        os.environ["PULSE_SERVER"] = f"unix:{sound}/pulse/native"
        wait_until(lambda: os.path.exists(f"{sound}/pulse/native"), "the sound server")

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

    def __init__(self, *arguments, language="zh_CN", session=None):
        # Qt 6.4 exports its widgets only when a screen reader has announced itself; this is its
        # own switch for clients that do not.
        env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", **(session or {}))
        # A Chinese desktop unless told otherwise: the program's first language follows it.
        for name in ("LC_ALL", "LC_MESSAGES", "LANGUAGE"):
            env.pop(name, None)
        env["LANG"] = f"{language}.UTF-8"
        self.process = subprocess.Popen([ARGS.program, "--show-pairing", *arguments],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        text=True, env=env)
        self.port = self.link = self.window_system = None
        threading.Thread(target=self.read, daemon=True).start()
        wait_until(lambda: self.port and self.link, "the port and the pairing link")

    def read(self):
        for line in self.process.stdout:
            line = line.strip()
            if match := re.match(r"Listening on port (\d+)$", line):
                self.port = int(match.group(1))
            elif line.startswith("Window system: "):
                self.window_system = line.split(": ", 1)[1]
            elif line == "No display reachable; running headless.":
                self.window_system = "none"
            elif line.startswith("quillvane://"):
                self.link = line  # the newest: a revoked pairing prints its successor

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(10)


class Phone:
    """quillvane-controller bound to the program, taking commands on its standard input."""

    def __init__(self, program):
        self.process = subprocess.Popen(
            [ARGS.controller, "--host", "127.0.0.1", "--port", str(program.port), program.link],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.output = queue.Queue()
        threading.Thread(target=lambda: [self.output.put(line) for line in self.process.stdout],
                         daemon=True).start()
        self.heard = ""
        self.wait_for('audio {"kind":"welcome"')

    def wait_for(self, text):
        deadline = time.monotonic() + 20
        while text not in self.heard:
            self.heard += self.output.get(timeout=max(0.1, deadline - time.monotonic()))
        return True

    def send(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def dropped(self):
        """Whether the host closed the phone's control channel; the controller, which would try
        to resume the session, is stopped then."""
        self.wait_for("closed control")
        self.process.terminate()
        self.process.wait(20)
        return True


def write_tone(path, seconds):
    """A 16-bit mono 24 kHz WAV file of a tone, for the controller's voice command."""
    with wave.open(path, "wb") as tone:
        tone.setparams((1, 2, 24000, 0, "NONE", None))
        tone.writeframes(array.array("h", (int(8000 * math.sin(i * 0.1))
                                           for i in range(int(seconds * 24000)))).tobytes())


class Tray:
    """The panel's side of the program's tray item: its menu over dbusmenu."""

    PROPERTIES = "org.freedesktop.DBus.Properties"

    def __init__(self):
        self.bus = dbus.SessionBus()

    def start_watcher(self):
        """A panel's tray: the watcher with a host registered, once it is ready."""
        watcher = DESKTOP.start([os.path.join(ARGS.services, "status-notifier-watcher")],
                                stdout=subprocess.PIPE)
        watcher.stdout.readline()  # "ready"
        return watcher

    def item(self):
        if not self.bus.name_has_owner("org.kde.StatusNotifierWatcher"):
            return None
        watcher = self.bus.get_object("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher")
        items = watcher.Get("org.kde.StatusNotifierWatcher", "RegisteredStatusNotifierItems",
                            dbus_interface=self.PROPERTIES)
        if not items:
            return None
        service, path = str(items[0]).split("/", 1)
        return self.bus.get_object(service, "/" + path)

    def property(self, name):
        return self.item().Get("org.kde.StatusNotifierItem", name, dbus_interface=self.PROPERTIES)

    def menu(self):
        item = self.item()
        return item and self.bus.get_object(item.bus_name, self.property("Menu"))

    def entries(self):
        """label: (id, enabled) of each entry, in the menu's order."""
        menu = self.menu()
        if menu is None:
            return {}
        _, layout = menu.GetLayout(0, -1, [], dbus_interface="com.canonical.dbusmenu")
        return {str(properties["label"]): (int(entry_id), bool(properties.get("enabled", True)))
                for entry_id, properties, _ in layout[2] if "label" in properties}

    def click(self, label):
        entry = wait_until(lambda: self.entries().get(label), f"the tray entry '{label}'")
        self.menu().Event(entry[0], "clicked", dbus.Int32(0), dbus.UInt32(0),
                          dbus_interface="com.canonical.dbusmenu")

    def icon(self):
        return b"".join(bytes(data) for _, _, data in self.property("IconPixmap"))

    def tooltip(self):
        return str(self.property("ToolTip")[2])


def setUpModule():
    global DESKTOP, FOLDER, pyatspi, dbus
    FOLDER = tempfile.mkdtemp(prefix="desktop-program-")
    os.makedirs(ARGS.out, exist_ok=True)
    DESKTOP = Desktop(FOLDER)
    import dbus
    import pyatspi


def tearDownModule():
    DESKTOP.stop()
    shutil.rmtree(FOLDER, ignore_errors=True)


class DesktopCase(unittest.TestCase):
    """The user's folders of the class's own, as if another user logged in; the program is
    started by the tests."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(dir=FOLDER)
        for name in ("config", "data", "cache"):
            os.environ[f"XDG_{name.upper()}_HOME"] = os.path.join(cls.folder, name)
        cls.tray = Tray()
        cls.program = None

    @classmethod
    def tearDownClass(cls):
        if cls.program:
            cls.program.stop()

    @classmethod
    def start_program(cls, *arguments, **options):
        cls.program = Program(*arguments, **options)

    @classmethod
    def find_window(cls):
        for app in pyatspi.Registry.getDesktop(0):
            if app is not None and app.name == "quillvane":
                for window in app:
                    if window.getRoleName() == "frame" and window.name == "Quillvane":
                        return window
        return None

    def wait_for_window(self):
        type(self).window = wait_until(lambda: showing(self.find_window()) and self.find_window(),
                                       "the settings window over AT-SPI")

    def close_window(self):
        """Ctrl+W, typed into the window as a person would after clicking into it."""
        self.click(next(node for node in descendants(self.window)
                        if node.getRoleName() == "label" and showing(node)))
        subprocess.run(["xdotool", "key", "ctrl+w"], check=True)
        wait_until(lambda: not showing(self.window), "the window to close")

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


class SettingsWindowTest(DesktopCase):
    """A desktop with a tray, as most are: the program lives in it."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.watcher = cls.tray.start_watcher()
        # A Wayland display that refuses: the program falls back to X.
        cls.start_program(session={"WAYLAND_DISPLAY": "no-such-compositor"})

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        cls.watcher.terminate()

    def test_1_pairing_the_tray_and_revoking(self):
        wait_until(lambda: self.tray.entries(), "the tray item")
        self.assertEqual(self.program.window_system, "xcb")
        self.assertEqual(list(self.tray.entries()),
                         ["等待手机连接", "断开手机", "打开 Quillvane", "退出 Quillvane"])
        self.assertFalse(self.tray.entries()["断开手机"][1], "no phone is bound yet")
        self.assertFalse(showing(self.find_window()), "with a tray the window waits to be asked for")
        self.tray.click("打开 Quillvane")
        self.wait_for_window()
        self.open_page(0)
        self.assertEqual(self.scanned_codes(), [], "the code shows before it was asked for")
        self.press("push button", "显示配对码")
        self.control("label", "配对码包含控制这台电脑的密钥，请只在自己的手机上扫描。")
        self.assertEqual(self.scanned_codes(), [self.program.link])
        self.press("push button", "复制配对链接")
        wait_until(lambda: self.clipboard() == self.program.link, "the link on the clipboard")
        self.screenshot("connection-zh")

        # The tray's menu follows the phone, and drops it.
        phone = Phone(self.program)
        self.control("label", "手机已连接")
        wait_until(lambda: self.tray.entries().get("断开手机", (0, False))[1]
                   and "手机已连接" in self.tray.entries(), "the tray to show the phone")
        self.tray.click("断开手机")
        self.assertTrue(phone.dropped())
        wait_until(lambda: not self.tray.entries()["断开手机"][1], "断开手机 to grey out again")

        phone = Phone(self.program)
        old_link = self.program.link
        self.control("label", "手机已连接")
        self.press("push button", "撤销配对并换码")
        dialog = wait_until(lambda: next(
            (node for node in descendants(pyatspi.Registry.getDesktop(0))
             if node.getRoleName() in ("dialog", "alert") and showing(node)), None),
            "the confirmation")
        self.control("label", "已连接的手机会断开，需要重新扫码配对。", dialog)
        self.press("push button", "撤销并生成新码", dialog)
        self.assertTrue(phone.dropped())
        self.control("label", "等待手机连接")
        wait_until(lambda: self.program.link != old_link
                   and self.scanned_codes() == [self.program.link], "the new code")
        self.assertRegex(self.program.link, r"^quillvane://pair\?id=.*&key=[0-9a-f]{64}$")
        self.assertNotEqual(self.program.link.split("key=")[1], old_link.split("key=")[1])

        # Ctrl+W closes the window; the tray brings it back with the code hidden again.
        self.close_window()
        self.tray.click("打开 Quillvane")
        self.control("push button", "显示配对码")
        self.assertEqual(self.scanned_codes(), [])
    def test_2_voice_page_and_the_tray_icon_while_the_phone_speaks(self):
        self.open_page(1)
        texts = self.visible_texts()
        for text in ("虚拟麦克风", "Quillvane Microphone 尚未安装", "安装 / 修复麦克风",
                     "音频输出设备", "Test_Speakers", "使用 Quillvane 麦克风", "刷新",
                     "按住录音，松开停止", "按一次开始，再按一次停止", "启动等待",
                     "0.3 秒", "Ctrl", "Alt", "Super"):
            self.assertIn(text, texts)
        self.assertNotIn("Fn", texts, "no Linux desktop reports an Fn key")
        # Dropping every modifier of a modifiers-only shortcut is explained with the core's text.
        self.press("check box", "Ctrl")
        self.press("check box", "Alt")
        self.choose("空格", "仅修饰键")
        self.control("label", "请选择语音快捷键；仅修饰键模式需要至少一个修饰键")
        self.press("check box", "Ctrl")
        wait_until(lambda: "请选择语音快捷键；仅修饰键模式需要至少一个修饰键"
                   not in self.visible_texts(), "the explanation to go")

        self.press("push button", "安装 / 修复麦克风")
        self.control("label", "Quillvane Microphone 已就绪")
        self.press("push button", "使用 Quillvane 麦克风")
        self.control("combo box", "Quillvane Microphone")
        self.screenshot("voice-zh")

        idle = self.tray.icon()
        self.assertEqual(self.tray.tooltip(), "Quillvane")
        phone = Phone(self.program)
        tone = os.path.join(self.folder, "tone.wav")
        write_tone(tone, 2.0)
        phone.send("voice " + tone)
        wait_until(lambda: self.tray.icon() != idle, "the speaking icon")
        self.assertEqual(self.tray.tooltip(), "Quillvane，正在传音")
        phone.wait_for("voiceDone")
        wait_until(lambda: self.tray.icon() == idle, "the idle icon again")
        type(self).phone = phone

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

        # Quitting from the tray closes every link; the switch lasts: a later start leaves it off.
        self.tray.click("退出 Quillvane")
        self.assertEqual(self.program.process.wait(20), 0)
        self.assertTrue(self.phone.dropped())
        self.assertEqual(self.tray.entries(), {})
        self.start_program()
        self.assertFalse(os.path.exists(entry))
        self.tray.click("打开 Quillvane")
        self.wait_for_window()
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


    def test_4_a_phones_browser_pairs_from_its_code(self):
        self.open_page(0)
        self.press("push button", "显示浏览器码")
        link = wait_until(lambda: next((code for code in self.scanned_codes() if code.startswith("https://")),
                                       None), "the browser code")
        self.assertRegex(link, r"^https://[^/]+:\d+/#t=[A-Za-z0-9_-]{22}$")
        browser = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "browser")
        result = subprocess.run(["node", os.path.join(browser, "pair-from-code.mjs"), link],
                                capture_output=True, text=True, timeout=120)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.control("label", "Chrome (Linux)")
        wait_until(lambda: self.tray.tooltip() == "新浏览器已配对", "the tray to tell of the new browser")


class NoTrayTest(DesktopCase):
    """A desktop without a tray (GNOME without the AppIndicator extension), and one whose panel
    comes up after the program, as at login. Qt settles how its tray icons are shown once per
    process, so each case starts the program afresh."""

    def tearDown(self):
        if self.program:
            self.program.stop()

    def start_shown(self, gnome=False):
        # GNOME (named among others, most specific first) shows tray icons only with an
        # extension, which the hint names.
        self.start_program(session={"XDG_CURRENT_DESKTOP": "ubuntu:GNOME" if gnome else "XFCE"})
        self.wait_for_window()
        remedy = ("GNOME 需要安装 AppIndicator 扩展才能显示托盘图标。" if gnome
                  else "在面板中加入系统托盘后，Quillvane 会留在托盘里。")
        self.control("label", "这个桌面没有系统托盘，关闭此窗口会退出 Quillvane。" + remedy)

    def assert_tray_took_over(self):
        wait_until(lambda: not any("系统托盘" in text for text in self.visible_texts()),
                   "the hint to go")
        self.close_window()
        time.sleep(1)
        self.assertIsNone(self.program.process.poll(), "closing quit although there is a tray")

    def test_1_the_window_is_the_program(self):
        self.start_shown(gnome=True)
        self.close_window()
        self.assertEqual(self.program.process.wait(20), 0)

    def test_2_a_tray_that_appears_later_takes_over(self):
        self.start_shown()
        watcher = self.tray.start_watcher()
        try:
            wait_until(lambda: self.tray.entries(), "the tray item")
            self.assert_tray_took_over()
        finally:
            watcher.terminate()

    def test_3_an_xembed_tray_that_appears_later_takes_over(self):
        self.start_shown()
        panel = DESKTOP.start(["trayer", "--edge", "top"])
        try:
            wait_until(self.embedded_in_panel, "the icon in the panel")
            self.assert_tray_took_over()
        finally:
            panel.terminate()

    @staticmethod
    def embedded_in_panel():
        """Whether the X server holds a window of the program inside another program's top-level
        window, where an XEmbed tray puts its icons."""
        tree = subprocess.run(["xwininfo", "-root", "-tree"], capture_output=True, text=True).stdout
        top_indent, top_is_ours = None, False
        for line in tree.splitlines():
            window = re.match(r"^( +)0x[0-9a-f]+ ", line)
            if not window:
                continue
            instance = re.search(r'\("([^"]*)" "[^"]*"\)', line)
            indent, ours = len(window.group(1)), bool(instance) and instance.group(1) == "quillvane"
            if top_indent is None or indent <= top_indent:
                top_indent, top_is_ours = indent, ours
            elif ours and not top_is_ours:
                return True
        return False


REFUSED_X = ":77"  # no X server listens there


def code_colours(path, scale):
    """What zbarimg reads in the screenshot, and the colours of the QR code in it, drawn at its
    full size (six logical pixels a module) on a screen of `scale`: the area that pure black blocks
    of nearly a module span (text strokes are thinner), from the outer edges of the finder
    patterns at its corners."""
    from PIL import Image, ImageChops, ImageFilter
    read = subprocess.run(["zbarimg", "--quiet", "--raw", path], capture_output=True,
                          text=True).stdout.strip()
    image = Image.open(path).convert("RGB")
    red, green, blue = image.split()
    brightest = ImageChops.lighter(ImageChops.lighter(red, green), blue)
    block = 6 * scale - 1
    modules = brightest.point(lambda value: 255 if value == 0 else 0)
    box = modules.filter(ImageFilter.MinFilter(block)).getbbox()
    if not read or not box:
        return read, set()
    grow = block // 2
    box = (box[0] - grow, box[1] - grow, box[2] + grow, box[3] + grow)
    return read, {colour for _, colour in image.crop(box).getcolors(1 << 16)}


class Sway:
    """A headless sway of scripts/test-env.d, started once for several programs."""

    def __init__(self):
        self.socket = "sway-app"
        self.process = DESKTOP.start([os.path.join(ARGS.services, "sway"), self.socket])
        # This sway's own: tests running beside this one may have a sway of their own.
        self.ipc = os.path.join(os.environ["XDG_RUNTIME_DIR"], "sway-app.ipc")
        wait_until(lambda: os.path.exists(self.ipc), "sway's IPC socket")

    def session(self):
        return {"WAYLAND_DISPLAY": self.socket, "DISPLAY": REFUSED_X, "XDG_SESSION_TYPE": "wayland",
                "XDG_CURRENT_DESKTOP": "sway"}

    def stop(self):
        self.process.terminate()
        self.process.wait(20)

    def message(self, *command, kind="command"):
        return json.loads(subprocess.run(["swaymsg", "-s", self.ipc, "-r", "-t", kind, *command],
                                         capture_output=True, text=True, check=True).stdout)

    def set_output(self, width, height, scale):
        self.message(f"output HEADLESS-1 mode {width}x{height} scale {scale}")
        # The pointer stays out of the screenshots.
        self.message("seat * hide_cursor 100")

    def views(self):
        """Every window sway manages, as its tree lists it."""
        def walk(node):
            if node.get("pid"):
                yield node
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                yield from walk(child)
        return list(walk(self.message(kind="get_tree")))

    def window_width(self):
        """The logical width of the program's window."""
        return next(view["rect"]["width"] for view in self.views()
                    if view.get("app_id") == "app.quillvane.Quillvane")

    def screenshot(self, path):
        subprocess.run(["grim", "-o", "HEADLESS-1", path], check=True,
                       env=dict(os.environ, WAYLAND_DISPLAY=self.socket))


class WaylandTest(DesktopCase):
    """The program as the window of a Wayland desktop, sway with a StatusNotifierItem host, at
    scale 2 and 1.5. X answers nowhere, so each run also shows that the program takes Wayland
    rather than running headless."""

    def tearDown(self):
        if self.program:
            self.program.stop()
            type(self).program = None

    def open_from_tray(self, sway):
        """The program in English, its window opened from the tray, the code shown."""
        self.start_program(language="en_US", session=sway.session())
        self.assertEqual(self.program.window_system, "wayland")
        wait_until(self.tray.item, "the tray item").Activate(
            0, 0, dbus_interface="org.kde.StatusNotifierItem")
        self.wait_for_window()
        self.assertEqual([view.get("app_id") for view in sway.views()], ["app.quillvane.Quillvane"])
        self.press("push button", "Show Pairing Code")

    def test_sway_with_a_tray(self):
        sway = Sway()
        watcher = self.tray.start_watcher()
        try:
            # Scale 2, where a code drawn at the wrong size would be smoothed into more colours.
            sway.set_output(2560, 1600, 2)
            self.open_from_tray(sway)
            shot = os.path.join(ARGS.out, "sway-2x-en-code.png")
            # Taken again until the window's opening animation has ended.
            def code():
                sway.screenshot(shot)
                read, colours = code_colours(shot, 2)
                return len(colours) == 2 and read
            self.assertEqual(wait_until(code, f"a readable code in exactly two colours in {shot}"),
                             self.program.link)
            for index, page in enumerate(("connection", "voice", "general")):
                self.open_page(index)
                time.sleep(0.5)  # the repaint reaches the screen after the page switch
                sway.screenshot(os.path.join(ARGS.out, f"sway-2x-en-{page}.png"))
            self.program.stop()
            # A 1280x720 screen at 1.5, in the wider language: the window fits with the code shown,
            # also floating at the least size it allows.
            sway.set_output(1280, 720, 1.5)
            self.open_from_tray(sway)
            path = os.path.join(ARGS.out, "sway-1.5x-en-code.png")
            self.assertEqual(wait_until(lambda: sway.screenshot(path) or code_colours(path, 1)[0],
                                        f"a readable code in {path}"), self.program.link)
            # Floating, asked to be narrower than it allows: sway keeps it at its least width, which
            # must be 600 at most. Asked again until then: sway clamps to the least size the client
            # has told it so far, and under load the first answer can predate the floating layout.
            def narrowest():
                sway.message("[app_id=app.quillvane.Quillvane] floating enable, resize set 300 470")
                width = sway.window_width()
                return width <= 600 and width
            narrowest = wait_until(narrowest, "the floating window at its least width, 600 at most")
            sway.message(f"[app_id=app.quillvane.Quillvane] resize set {narrowest} 470, move position 0 0")
            time.sleep(1)  # the client draws at the new size
            path = os.path.join(ARGS.out, "sway-1.5x-en-narrowest.png")
            sway.screenshot(path)
            self.assertEqual(code_colours(path, 1)[0], self.program.link)
        finally:
            watcher.terminate()
            sway.stop()

    def test_no_display_answering_means_headless(self):
        self.start_program(session={"WAYLAND_DISPLAY": "no-such-compositor", "DISPLAY": REFUSED_X})
        wait_until(lambda: self.program.window_system, "the program's choice")
        self.assertEqual(self.program.window_system, "none")


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
