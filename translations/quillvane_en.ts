<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="zh_CN">
<context>
    <name>HostText</name>
    <message>
        <source>无法生成浏览器连接证书</source>
        <translation>Cannot make the certificate for browser connections</translation>
    </message>
    <message>
        <source>浏览器未在时限内完成认证</source>
        <translation>The browser did not authenticate in time</translation>
    </message>
    <message>
        <source>浏览器认证失败</source>
        <translation>The browser failed to authenticate</translation>
    </message>
    <message>
        <source>浏览器未配对或已被撤销</source>
        <translation>This browser is not paired, or its pairing was revoked</translation>
    </message>
    <message>
        <source>浏览器配对码无效或已过期</source>
        <translation>The browser pairing code is invalid or has expired</translation>
    </message>
    <message>
        <source>浏览器</source>
        <translation>Browser</translation>
    </message>
    <message>
        <source>无法打开浏览器连接端口</source>
        <translation>Cannot open the port for browser connections</translation>
    </message>
    <message>
        <source>电脑</source>
        <translation>Computer</translation>
    </message>
    <message>
        <source>电脑启动过慢，音频缓冲已满</source>
        <translation>The computer took too long to start; the audio buffer is full</translation>
    </message>
    <message>
        <source>电脑已连接其他控制端，或连接顺序错误</source>
        <translation>The computer is connected to another controller, or the channels connected in the wrong order</translation>
    </message>
    <message>
        <source>电脑语音设置已改变，请重新开始</source>
        <translation>The voice settings on the computer changed; please start again</translation>
    </message>
    <message>
        <source>电脑音频播放已停止，请重新按住说话</source>
        <translation>Audio playback on the computer stopped; press and hold to talk again</translation>
    </message>
    <message>
        <source>电脑音频播放积压超过两秒，请重试</source>
        <translation>Audio playback on the computer fell more than two seconds behind; please try again</translation>
    </message>
    <message>
        <source>电脑音频输出未启动</source>
        <translation>Audio output on the computer has not started</translation>
    </message>
    <message>
        <source>Quillvane Microphone 不可用：</source>
        <translation>Quillvane Microphone is unavailable: </translation>
    </message>
    <message>
        <source>Quillvane Microphone 不可用：%@</source>
        <translation>Quillvane Microphone is unavailable: %@</translation>
    </message>
    <message>
        <source>Quillvane Microphone 尚未安装</source>
        <translation>Quillvane Microphone is not installed yet</translation>
    </message>
    <message>
        <source>Quillvane Microphone 已就绪</source>
        <translation>Quillvane Microphone is ready</translation>
    </message>
    <message>
        <source>手机已连接</source>
        <translation>Phone connected</translation>
    </message>
    <message>
        <source>上一段语音尚未结束</source>
        <translation>The previous voice message has not finished yet</translation>
    </message>
    <message>
        <source>上一段语音快捷键尚未结束</source>
        <translation>The previous voice shortcut has not been released yet</translation>
    </message>
    <message>
        <source>两端协议版本不一致，请更新应用</source>
        <translation>The phone and the computer use different protocol versions; please update the apps</translation>
    </message>
    <message>
        <source>会话握手超时</source>
        <translation>The session handshake timed out</translation>
    </message>
    <message>
        <source>保存的语音快捷键无效，已使用默认快捷键</source>
        <translation>The saved voice shortcut is invalid; using the default shortcut</translation>
    </message>
    <message>
        <source>保存的配对密钥无效</source>
        <translation>The saved pairing key is invalid</translation>
    </message>
    <message>
        <source>单个组合字符过长</source>
        <translation>A single combined character is too long</translation>
    </message>
    <message>
        <source>当前没有可用麦克风，请检查手机音频输入</source>
        <translation>No microphone is available; check the phone&apos;s audio input</translation>
    </message>
    <message>
        <source>录音引擎已停止，请重新按住说话</source>
        <translation>The recording engine stopped; press and hold to talk again</translation>
    </message>
    <message>
        <source>接收缓冲超限</source>
        <translation>The receive buffer overflowed</translation>
    </message>
    <message>
        <source>文字过长或缺少辅助功能权限</source>
        <translation>The text is too long, or Quillvane lacks permission to type</translation>
    </message>
    <message>
        <source>无效 PCM</source>
        <translation>Invalid PCM audio</translation>
    </message>
    <message>
        <source>无效控制消息</source>
        <translation>Invalid control message</translation>
    </message>
    <message>
        <source>无效消息长度</source>
        <translation>Invalid message length</translation>
    </message>
    <message>
        <source>无效滚动事件</source>
        <translation>Invalid scroll event</translation>
    </message>
    <message>
        <source>无效移动事件</source>
        <translation>Invalid move event</translation>
    </message>
    <message>
        <source>无效移动事件或缺少辅助功能权限</source>
        <translation>Invalid move event, or Quillvane lacks permission to move the pointer</translation>
    </message>
    <message>
        <source>无效配对密钥</source>
        <translation>Invalid pairing key</translation>
    </message>
    <message>
        <source>无效音频分包</source>
        <translation>Invalid audio chunk</translation>
    </message>
    <message>
        <source>无效音频消息</source>
        <translation>Invalid audio message</translation>
    </message>
    <message>
        <source>无法保存语音快捷键</source>
        <translation>Could not save the voice shortcut</translation>
    </message>
    <message>
        <source>无法保存配对钥匙串</source>
        <translation>Could not save the pairing to the keyring</translation>
    </message>
    <message>
        <source>无法创建点击事件</source>
        <translation>Could not create the click event</translation>
    </message>
    <message>
        <source>无法删除配对</source>
        <translation>Could not delete the pairing</translation>
    </message>
    <message>
        <source>无法打开所选音频设备</source>
        <translation>Could not open the selected audio device</translation>
    </message>
    <message>
        <source>无法生成配对密钥</source>
        <translation>Could not generate a pairing key</translation>
    </message>
    <message>
        <source>无法读取配对钥匙串</source>
        <translation>Could not read the pairing from the keyring</translation>
    </message>
    <message>
        <source>未绑定的控制通道</source>
        <translation>The control channel is not bound</translation>
    </message>
    <message>
        <source>正在启动</source>
        <translation>Starting</translation>
    </message>
    <message>
        <source>正在接收手机语音</source>
        <translation>Receiving voice from the phone</translation>
    </message>
    <message>
        <source>此设备的配对记录已移除</source>
        <translation>The pairing record of this device was removed</translation>
    </message>
    <message>
        <source>消息过大</source>
        <translation>The message is too large</translation>
    </message>
    <message>
        <source>等待手机连接</source>
        <translation>Waiting for the phone to connect</translation>
    </message>
    <message>
        <source>系统音频服务已重置，请重新按住说话</source>
        <translation>The system audio service was reset; press and hold to talk again</translation>
    </message>
    <message>
        <source>缺少双向音频流</source>
        <translation>The two-way audio stream is missing</translation>
    </message>
    <message>
        <source>网络发送积压，请重新连接</source>
        <translation>Network sending fell behind; please reconnect</translation>
    </message>
    <message>
        <source>虚拟音频输出设备已断开或切换，请检查电脑音频设置</source>
        <translation>The virtual audio output device was disconnected or changed; check the computer&apos;s sound settings</translation>
    </message>
    <message>
        <source>设备文件身份不匹配，请重新安装</source>
        <translation>The device files do not match; please reinstall</translation>
    </message>
    <message>
        <source>设备类型不匹配</source>
        <translation>The device type does not match</translation>
    </message>
    <message>
        <source>设备连接记录无效或版本不兼容</source>
        <translation>The device&apos;s connection record is invalid or from an incompatible version</translation>
    </message>
    <message>
        <source>语音会话已结束，请重新开始</source>
        <translation>The voice session has ended; please start again</translation>
    </message>
    <message>
        <source>语音尾部不完整</source>
        <translation>The end of the voice message is incomplete</translation>
    </message>
    <message>
        <source>语音已进入收尾，请重新开始</source>
        <translation>The voice message is already finishing; please start again</translation>
    </message>
    <message>
        <source>请先在电脑选择虚拟音频输出设备</source>
        <translation>First choose the virtual audio output device on the computer</translation>
    </message>
    <message>
        <source>请先授予辅助功能权限，并检查语音快捷键</source>
        <translation>First give Quillvane permission to control input, and check the voice shortcut</translation>
    </message>
    <message>
        <source>请先结束语音，再安装麦克风</source>
        <translation>Finish the voice message before installing the microphone</translation>
    </message>
    <message>
        <source>请扫描或粘贴 Quillvane 电脑端配对码</source>
        <translation>Scan or paste the pairing code shown by Quillvane on the computer</translation>
    </message>
    <message>
        <source>请授予辅助功能权限</source>
        <translation>Please give Quillvane permission to control input</translation>
    </message>
    <message>
        <source>请选择虚拟音频设备，避免将语音播放到扬声器</source>
        <translation>Choose the virtual audio device so the voice does not play through the speakers</translation>
    </message>
    <message>
        <source>请选择语音快捷键；仅修饰键模式需要至少一个修饰键</source>
        <translation>Choose a voice shortcut; the modifier-only mode needs at least one modifier key</translation>
    </message>
    <message>
        <source>连接中断，已释放所有按键</source>
        <translation>The connection was lost; all keys and buttons were released</translation>
    </message>
    <message>
        <source>连接尚未就绪</source>
        <translation>The connection is not ready yet</translation>
    </message>
    <message>
        <source>连接已关闭</source>
        <translation>The connection was closed</translation>
    </message>
    <message>
        <source>连接超时，请检查配对码和网络</source>
        <translation>The connection timed out; check the pairing code and the network</translation>
    </message>
    <message>
        <source>配对密钥无效</source>
        <translation>The pairing key is invalid</translation>
    </message>
    <message>
        <source>配对码不完整</source>
        <translation>The pairing code is incomplete</translation>
    </message>
    <message>
        <source>重复或无效握手</source>
        <translation>Repeated or invalid handshake</translation>
    </message>
    <message>
        <source>键盘控制需要辅助功能权限</source>
        <translation>Keyboard control needs permission to control input</translation>
    </message>
    <message>
        <source>音频分包大小无效，请重试</source>
        <translation>Invalid audio chunk size; please try again</translation>
    </message>
    <message>
        <source>音频分包序号异常，请重试</source>
        <translation>Audio chunks arrived out of sequence; please try again</translation>
    </message>
    <message>
        <source>音频包含无效采样</source>
        <translation>The audio contains invalid samples</translation>
    </message>
    <message>
        <source>音频数据或输出状态无效</source>
        <translation>Invalid audio data or output state</translation>
    </message>
    <message>
        <source>音频格式不兼容</source>
        <translation>Incompatible audio format</translation>
    </message>
    <message>
        <source>音频缺少会话标识</source>
        <translation>The audio has no session identifier</translation>
    </message>
    <message>
        <source>音频超时，已释放语音快捷键</source>
        <translation>Audio timed out; the voice shortcut was released</translation>
    </message>
    <message>
        <source>音频输出不可用</source>
        <translation>Audio output is unavailable</translation>
    </message>
    <message>
        <source>驱动已安装，等待系统加载。请重启电脑后刷新。</source>
        <translation>The driver is installed and waiting for the system to load it. Restart the computer, then refresh.</translation>
    </message>
    <message>
        <source>驱动版本不匹配，请更新安装</source>
        <translation>The driver version does not match; please update the installation</translation>
    </message>
    <message>
        <source>驱动签名校验失败，请重新安装</source>
        <translation>The driver&apos;s signature check failed; please reinstall</translation>
    </message>
    <message>
        <source>麦克风被来电或其他音频会话中断，请结束干扰后重新开始</source>
        <translation>The microphone was interrupted by a call or another audio session; end it and start again</translation>
    </message>
    <message>
        <source>麦克风设备已切换，请重新按住说话</source>
        <translation>The microphone device changed; press and hold to talk again</translation>
    </message>
    <message>
        <source>麦克风采样格式已改变，请重新按住说话</source>
        <translation>The microphone&apos;s sample format changed; press and hold to talk again</translation>
    </message>
    <message>
        <source>无法关闭开机自动启动：自动启动文件无法删除</source>
        <translation>Could not turn off start at login: the autostart file cannot be removed</translation>
    </message>
    <message>
        <source>无法开启开机自动启动：自动启动文件无法写入</source>
        <translation>Could not turn on start at login: the autostart file cannot be written</translation>
    </message>
    <message>
        <source>avahi-daemon 没有运行：请用 sudo systemctl enable --now avahi-daemon 启动它</source>
        <translation>avahi-daemon is not running: start it with sudo systemctl enable --now avahi-daemon</translation>
    </message>
    <message>
        <source>无法发布局域网服务</source>
        <translation>Could not announce this computer on the local network</translation>
    </message>
    <message>
        <source>输入后端尚未打开</source>
        <translation>The input backend is not open yet</translation>
    </message>
    <message>
        <source>无法在这个桌面输入文字中的字符</source>
        <translation>A character of the text cannot be typed on this desktop</translation>
    </message>
    <message>
        <source>KWin 只让从已安装的桌面项启动的程序发送输入；请从应用菜单启动 Quillvane，或让它在登录时启动，不要从终端启动</source>
        <translation>KWin lets a program post input only when it was started from its installed desktop entry; start Quillvane from the application menu or at login, not from a terminal</translation>
    </message>
    <message>
        <source>Wayland 混成器拒绝为这个程序创建虚拟键盘</source>
        <translation>The Wayland compositor refused this program a virtual keyboard</translation>
    </message>
    <message>
        <source>X 服务器没有发送输入所需的 XTEST 扩展，请在它的配置中启用</source>
        <translation>The X server has no XTEST extension, which posting input needs; enable it in the server&apos;s configuration</translation>
    </message>
    <message>
        <source>uinput 设备不再接受输入</source>
        <translation>The uinput device stopped accepting input</translation>
    </message>
    <message>
        <source>无法打开 X 显示，请确认 X 服务器正在运行并允许此用户连接</source>
        <translation>Cannot open the X display; check that the X server runs and lets this user connect</translation>
    </message>
    <message>
        <source>无法打开输入后端</source>
        <translation>The input backend could not be opened</translation>
    </message>
    <message>
        <source>无法连接 Wayland 混成器</source>
        <translation>Cannot connect to the Wayland compositor</translation>
    </message>
    <message>
        <source>无法通过 /dev/uinput 创建输入设备</source>
        <translation>Cannot create an input device through /dev/uinput</translation>
    </message>
    <message>
        <source>未知的输入后端</source>
        <translation>Unknown input backend</translation>
    </message>
    <message>
        <source>未设置 DISPLAY，没有可以接收输入的 X 服务器；请在 X11 会话中运行 Quillvane</source>
        <translation>DISPLAY is not set, so there is no X server to post input to; run Quillvane in an X11 session</translation>
    </message>
    <message>
        <source>未设置 WAYLAND_DISPLAY，没有可以接收输入的 Wayland 混成器</source>
        <translation>WAYLAND_DISPLAY is not set, so there is no Wayland compositor to post input to</translation>
    </message>
    <message>
        <source>此用户不能写入 /dev/uinput，Quillvane 无法创建输入设备；运行一次这条命令即可允许</source>
        <translation>/dev/uinput is not writable for this user, so Quillvane cannot create its input device; allow it once with this command</translation>
    </message>
    <message>
        <source>系统没有发送输入所需的 /dev/uinput，请加载内核的 uinput 模块（sudo modprobe uinput）</source>
        <translation>This system has no /dev/uinput, which posting input needs; load the kernel&apos;s uinput module (sudo modprobe uinput)</translation>
    </message>
    <message>
        <source>经 KWin 发送输入已停止</source>
        <translation>Input through KWin stopped</translation>
    </message>
    <message>
        <source>经 Wayland 混成器发送输入已停止，正在等它恢复</source>
        <translation>Input through the Wayland compositor stopped; waiting for it to come back</translation>
    </message>
    <message>
        <source>这个 Wayland 桌面没有可以发送输入的接口：Quillvane 使用 GNOME 的远程桌面接口、KDE 的模拟输入和 wlroots 混成器的虚拟指针与键盘，其他桌面需要 /dev/uinput</source>
        <translation>Nothing can post input on this Wayland desktop: Quillvane uses GNOME&apos;s remote desktop interface, KDE&apos;s fake input and the virtual pointer and keyboard of wlroots compositors, and elsewhere needs /dev/uinput</translation>
    </message>
    <message>
        <source>这个 Wayland 混成器不提供虚拟指针和键盘；sway、Hyprland、labwc 等 wlroots 混成器提供</source>
        <translation>This Wayland compositor offers no virtual pointer and keyboard; wlroots compositors such as sway, Hyprland and labwc do</translation>
    </message>
    <message>
        <source>这个 Wayland 混成器不是 KWin，也不提供 KDE 的模拟输入协议</source>
        <translation>This Wayland compositor is not KWin and offers no KDE fake-input protocol</translation>
    </message>
    <message>
        <source>这个版本的 Quillvane 没有输入后端，无法发送输入</source>
        <translation>This build of Quillvane has no input backend, so it cannot post input</translation>
    </message>
    <message>
        <source>这是 Xwayland：输入只能到达 X11 窗口，到不了 Wayland 桌面；请登录 X11 会话来控制这台电脑</source>
        <translation>This is Xwayland, which passes posted input only to X11 windows, not to the Wayland desktop; log in to an X11 session to control this computer</translation>
    </message>
    <message>
        <source>GNOME 拒绝创建远程桌面会话</source>
        <translation>GNOME refused a remote desktop session</translation>
    </message>
    <message>
        <source>GNOME 拒绝启动远程桌面会话</source>
        <translation>GNOME refused to start a remote desktop session</translation>
    </message>
    <message>
        <source>会话总线上没有 GNOME 的远程桌面接口，这不是 GNOME 的 Wayland 会话</source>
        <translation>GNOME&apos;s remote desktop interface is not on the session bus, so this is not a GNOME Wayland session</translation>
    </message>
    <message>
        <source>没有 D-Bus 会话总线，无法连接 GNOME 的远程桌面接口</source>
        <translation>There is no D-Bus session bus, so GNOME&apos;s remote desktop interface cannot be reached</translation>
    </message>
    <message>
        <source>经 GNOME 发送输入已停止，正在等它恢复</source>
        <translation>Input through GNOME stopped; waiting for it to come back</translation>
    </message>
    <message>
        <source>GNOME 关闭了远程桌面会话</source>
        <translation>GNOME closed the remote desktop session</translation>
    </message>
    <message>
        <source>GNOME 的远程桌面服务离开了会话总线</source>
        <translation>GNOME&apos;s remote desktop service left the session bus</translation>
    </message>
    <message>
        <source>与混成器的连接已断开</source>
        <translation>The connection to the compositor was lost</translation>
    </message>
    <message>
        <source>混成器撤下了接口</source>
        <translation>The compositor withdrew an interface</translation>
    </message>
    <message>
        <source>剪贴板不可用，文字未能输入</source>
        <translation>The clipboard could not be used; the text was not typed</translation>
    </message>
    <message>
        <source>单指移动指针，轻点点按，双指滑动滚动，轻点两下后拖动可拖拽。</source>
        <translation>Move one finger to move the pointer, tap to click, slide two fingers to scroll, tap twice and drag to drag.</translation>
    </message>
    <message>
        <source>右键</source>
        <translation>Right</translation>
    </message>
    <message>
        <source>名称</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>在此输入</source>
        <translation>Type here</translation>
    </message>
    <message>
        <source>左键</source>
        <translation>Left</translation>
    </message>
    <message>
        <source>已断开</source>
        <translation>Disconnected</translation>
    </message>
    <message>
        <source>已断开，正在重新连接…</source>
        <translation>Disconnected, reconnecting…</translation>
    </message>
    <message>
        <source>已连接</source>
        <translation>Connected</translation>
    </message>
    <message>
        <source>往返 %1 毫秒</source>
        <translation>round trip %1 ms</translation>
    </message>
    <message>
        <source>快捷键</source>
        <translation>Quick keys</translation>
    </message>
    <message>
        <source>快速输入</source>
        <translation>Quick input</translation>
    </message>
    <message>
        <source>按住左键并挥动手机来移动指针；松开即停。</source>
        <translation>Hold Left and swing the phone to move the pointer; let go to stop.</translation>
    </message>
    <message>
        <source>按住说话</source>
        <translation>Hold to talk</translation>
    </message>
    <message>
        <source>文字</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>断开</source>
        <translation>Disconnect</translation>
    </message>
    <message>
        <source>无法使用麦克风</source>
        <translation>The microphone cannot be used</translation>
    </message>
    <message>
        <source>松开发送</source>
        <translation>Release to send</translation>
    </message>
    <message>
        <source>正在连接…</source>
        <translation>Connecting…</translation>
    </message>
    <message>
        <source>添加</source>
        <translation>Add</translation>
    </message>
    <message>
        <source>电脑的身份证明不正确：这可能不是你的电脑，连接已停止。</source>
        <translation>The computer’s proof is wrong: this may not be your computer, so the connection was stopped.</translation>
    </message>
    <message>
        <source>知道了</source>
        <translation>Got it</translation>
    </message>
    <message>
        <source>空中鼠标</source>
        <translation>Air mouse</translation>
    </message>
    <message>
        <source>空中鼠标需要动作传感器权限</source>
        <translation>The air mouse needs permission to use the motion sensors</translation>
    </message>
    <message>
        <source>触控板</source>
        <translation>Trackpad</translation>
    </message>
    <message>
        <source>这个浏览器尚未配对：请在电脑上的 Quillvane 设置中扫描“用手机浏览器控制”的二维码。</source>
        <translation>This browser is not paired yet: scan the code of “Control with a phone’s browser” in Quillvane’s settings on the computer.</translation>
    </message>
    <message>
        <source>这个浏览器无法安全保存配对（需要 HTTPS、WebCrypto 和 IndexedDB）。</source>
        <translation>This browser cannot keep the pairing safely (it needs HTTPS, WebCrypto and IndexedDB).</translation>
    </message>
    <message>
        <source>这个浏览器没有动作传感器</source>
        <translation>This browser has no motion sensors</translation>
    </message>
    <message>
        <source>连接</source>
        <translation>Connect</translation>
    </message>
    <message>
        <source>键盘</source>
        <translation>Keyboard</translation>
    </message>
</context>
<context>
    <name>quillvane::BrowserCard</name>
    <message>
        <source>用手机浏览器控制</source>
        <translation>Control from a Phone&apos;s Browser</translation>
    </message>
    <message>
        <source>在手机浏览器中扫码打开控制页，无需安装应用。</source>
        <translation>Scan the code with the phone&apos;s browser to open the control page; no app to install.</translation>
    </message>
    <message>
        <source>地址</source>
        <translation>Address</translation>
    </message>
    <message>
        <source>显示浏览器码</source>
        <translation>Show Browser Code</translation>
    </message>
    <message>
        <source>此码五分钟内有效，只能使用一次。浏览器首次打开时会提示证书不受信任，这是这台电脑自己的证书，可以继续访问。</source>
        <translation>The code works once, within five minutes. The first time, the browser warns that the certificate is not trusted: it is this computer&apos;s own certificate, and it is safe to continue.</translation>
    </message>
    <message>
        <source>已配对的浏览器</source>
        <translation>Paired browsers</translation>
    </message>
    <message>
        <source>还没有配对的浏览器。</source>
        <translation>No browser is paired yet.</translation>
    </message>
    <message>
        <source>上次使用 %1</source>
        <translation>Last used %1</translation>
    </message>
    <message>
        <source>撤销</source>
        <translation>Revoke</translation>
    </message>
    <message>
        <source>撤销 %1</source>
        <translation>Revoke %1</translation>
    </message>
</context>
<context>
    <name>quillvane::ConnectionPage</name>
    <message>
        <source>连接与控制</source>
        <translation>Connection &amp; Control</translation>
    </message>
    <message>
        <source>配对你的手机，并开启鼠标与键盘控制。</source>
        <translation>Pair your phone and turn on mouse and keyboard control.</translation>
    </message>
    <message>
        <source>连接手机</source>
        <translation>Connect Your Phone</translation>
    </message>
    <message>
        <source>让手机和电脑连接同一 Wi-Fi，在手机上扫描配对码。</source>
        <translation>Put the phone and this computer on the same Wi-Fi, then scan the pairing code with the phone.</translation>
    </message>
    <message>
        <source>配对码包含控制这台电脑的密钥，请只在自己的手机上扫描。</source>
        <translation>The pairing code holds the key that controls this computer. Scan it only with your own phone.</translation>
    </message>
    <message>
        <source>显示配对码</source>
        <translation>Show Pairing Code</translation>
    </message>
    <message>
        <source>复制配对链接</source>
        <translation>Copy Pairing Link</translation>
    </message>
    <message>
        <source>撤销配对并换码</source>
        <translation>Revoke and Renew Code</translation>
    </message>
    <message>
        <source>没有可用的系统密钥环：配对密钥保存在只有你能读取的文件中，未受密钥环保护。</source>
        <translation>No system keyring is available: the pairing key is kept in a file only you can read, not protected by a keyring.</translation>
    </message>
    <message>
        <source>鼠标与键盘权限</source>
        <translation>Mouse and Keyboard Access</translation>
    </message>
    <message>
        <source>允许 Quillvane 将手机上的手势与按键发送到这台电脑。</source>
        <translation>Lets Quillvane send the gestures and keys from your phone to this computer.</translation>
    </message>
    <message>
        <source>检查授权状态</source>
        <translation>Check Again</translation>
    </message>
    <message>
        <source>已授权：通过 %1 发送鼠标与键盘事件。</source>
        <translation>Allowed: mouse and keyboard events are sent through %1.</translation>
    </message>
    <message>
        <source>尚未授权：</source>
        <translation>Not allowed yet: </translation>
    </message>
    <message>
        <source>撤销现有配对？</source>
        <translation>Revoke the current pairing?</translation>
    </message>
    <message>
        <source>已连接的手机会断开，需要重新扫码配对。</source>
        <translation>A connected phone will be disconnected and must scan the new code to pair again.</translation>
    </message>
    <message>
        <source>撤销并生成新码</source>
        <translation>Revoke and Create New Code</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
</context>
<context>
    <name>quillvane::GeneralPage</name>
    <message>
        <source>通用</source>
        <translation>General</translation>
    </message>
    <message>
        <source>设置 Quillvane 的语言和启动方式。</source>
        <translation>Choose Quillvane&apos;s language and how it starts.</translation>
    </message>
    <message>
        <source>语言</source>
        <translation>Language</translation>
    </message>
    <message>
        <source>启动</source>
        <translation>Startup</translation>
    </message>
    <message>
        <source>登录电脑后自动启动 Quillvane，在菜单栏等待手机连接。</source>
        <translation>Starts Quillvane when you log in, waiting in the tray for your phone to connect.</translation>
    </message>
    <message>
        <source>开机自动启动</source>
        <translation>Start at Login</translation>
    </message>
    <message>
        <source>关于</source>
        <translation>About</translation>
    </message>
    <message>
        <source>关闭设置窗口后，Quillvane 会继续在菜单栏运行。</source>
        <translation>Closing the settings window keeps Quillvane running in the tray.</translation>
    </message>
    <message>
        <source>版本 %@</source>
        <translation>Version %@</translation>
    </message>
    <message>
        <source>跟随系统</source>
        <translation>System Language</translation>
    </message>
</context>
<context>
    <name>quillvane::SettingsWindow</name>
    <message>
        <source>Quillvane</source>
        <translation>Quillvane</translation>
    </message>
    <message>
        <source>你的电脑，触手可及</source>
        <translation>Your computer, at your fingertips</translation>
    </message>
</context>
<context>
    <name>quillvane::ShortcutEditor</name>
    <message>
        <source>仅修饰键</source>
        <translation>Modifiers Only</translation>
    </message>
    <message>
        <source>空格</source>
        <translation>Space</translation>
    </message>
    <message>
        <source>键码 %1</source>
        <translation>Key code %1</translation>
    </message>
</context>
<context>
    <name>quillvane::TrayHint</name>
    <message>
        <source>GNOME 需要安装 AppIndicator 扩展才能显示托盘图标。</source>
        <translation>GNOME shows tray icons once the AppIndicator extension is installed.</translation>
    </message>
    <message>
        <source>在面板中加入系统托盘后，Quillvane 会留在托盘里。</source>
        <translation>Add a system tray to your panel and Quillvane will stay there.</translation>
    </message>
    <message>
        <source>这个桌面没有系统托盘，关闭此窗口会退出 Quillvane。</source>
        <translation>This desktop has no system tray, so closing this window quits Quillvane. </translation>
    </message>
</context>
<context>
    <name>quillvane::TrayMenu</name>
    <message>
        <source>断开手机</source>
        <translation>Disconnect Phone</translation>
    </message>
    <message>
        <source>打开 Quillvane</source>
        <translation>Open Quillvane</translation>
    </message>
    <message>
        <source>退出 Quillvane</source>
        <translation>Quit Quillvane</translation>
    </message>
    <message>
        <source>Quillvane，正在传音</source>
        <translation>Quillvane, relaying voice</translation>
    </message>
    <message>
        <source>新浏览器已配对</source>
        <translation>New browser paired</translation>
    </message>
    <message>
        <source>%1 现在可以控制这台电脑。可在设置中撤销。</source>
        <translation>%1 can now control this computer. You can revoke it in the settings.</translation>
    </message>
</context>
<context>
    <name>quillvane::VoicePage</name>
    <message>
        <source>语音输入</source>
        <translation>Voice Input</translation>
    </message>
    <message>
        <source>将手机采集的声音传给电脑上的语音输入法。</source>
        <translation>Passes the sound your phone records to the voice input method on this computer.</translation>
    </message>
    <message>
        <source>虚拟麦克风</source>
        <translation>Virtual Microphone</translation>
    </message>
    <message>
        <source>语音输入法中也需选择 Quillvane Microphone。安装后可能需要重启电脑。</source>
        <translation>Choose Quillvane Microphone in your voice input method too. After installing, the computer may need a restart.</translation>
    </message>
    <message>
        <source>安装 / 修复麦克风</source>
        <translation>Install / Repair Microphone</translation>
    </message>
    <message>
        <source>请先结束语音，再安装麦克风</source>
        <translation>Finish the voice message before installing the microphone</translation>
    </message>
    <message>
        <source>音频输出设备</source>
        <translation>Audio Output Device</translation>
    </message>
    <message>
        <source>请选择虚拟音频设备</source>
        <translation>Choose the virtual audio device</translation>
    </message>
    <message>
        <source>使用 Quillvane 麦克风</source>
        <translation>Use Quillvane Microphone</translation>
    </message>
    <message>
        <source>刷新</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>语音快捷键</source>
        <translation>Voice Shortcut</translation>
    </message>
    <message>
        <source>与语音输入法中的快捷键保持一致。</source>
        <translation>Use the same shortcut as your voice input method.</translation>
    </message>
    <message>
        <source>语音输入法的录音方式</source>
        <translation>How Your Voice Input Method Records</translation>
    </message>
    <message>
        <source>松开手机按钮后结束语音；回车需要单独点击。</source>
        <translation>Voice ends when you release the button on the phone; tap Return separately.</translation>
    </message>
    <message>
        <source>按住录音，松开停止</source>
        <translation>Hold to record, release to stop</translation>
    </message>
    <message>
        <source>按一次开始，再按一次停止</source>
        <translation>Press once to start, again to stop</translation>
    </message>
    <message>
        <source>启动等待</source>
        <translation>Start Delay</translation>
    </message>
    <message>
        <source>如果语音开头缺字，可适当增加等待时间。</source>
        <translation>If the first words go missing, increase the delay a little.</translation>
    </message>
    <message>
        <source>%.1f 秒</source>
        <translation>%.1f s</translation>
    </message>
</context>
</TS>
