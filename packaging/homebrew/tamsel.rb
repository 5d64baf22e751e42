# Builds and installs Tamsel from a clone of its repository. Homebrew takes formulae only from taps:
#
#   brew tap-new --no-git local/tamsel
#   cp packaging/homebrew/tamsel.rb "$(brew --repository local/tamsel)/Formula"
#   HOMEBREW_TAMSEL_CLONE=$PWD brew install --HEAD local/tamsel/tamsel
#
# Once there is a release to name, its homepage, url and sha256 go between desc and head.
class Tamsel < Formula
  desc "Register Adobe InDesign and InCopy with the Adobe Extension Manager CC"
  head "file://#{ENV.fetch("HOMEBREW_TAMSEL_CLONE", Dir.pwd)}", using: :git, branch: "main"

  depends_on "cmake" => :build
  depends_on :macos

  def install
    system "cmake", "-S", ".", "-B", "build", "-DTAMSEL_TESTS=OFF", *std_cmake_args
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
    # It would delete behind Homebrew's back.
    rm libexec/"tamsel/uninstall"
  end

  def caveats
    <<~EOS
      #{HOMEBREW_PREFIX} belongs to a user, who can replace what is in it. If jobs start Tamsel as root,
      install its distribution package and let them start /usr/local/libexec/tamsel/tamsel-deploy
    EOS
  end

  test do
    # With or without an Extension Manager, the answer is about it.
    assert_match "Extension Manager", shell_output("#{bin}/Tamsel -h || true")
    assert_match "tamsel-deploy", shell_output("#{bin}/tamsel-deploy --version")
    refute_path_exists libexec/"tamsel/uninstall"
  end
end
