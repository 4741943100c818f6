#!/usr/bin/perl
# relay.pl BACKEND FOLDER: passes requests on to the backend at HOST:PORT, and keeps each with its
# answer in a file of the folder. Prints its port. The file "rules" there has lines of
#   TURNS PATH WHAT
# by which so many requests, whose paths begin so, are answered instead: "redirect ORIGIN", or a
# status and a body up to the end of the line.
use strict;
use warnings;
use IO::Socket::INET;

my ($backend, $folder) = @ARGV;
my $server = IO::Socket::INET->new(LocalAddr => '127.0.0.1', Listen => 64) or die $!;
$| = 1;
$SIG{PIPE} = 'IGNORE';
print $server->sockport, "\n";

# One message: its head, and a body of the length that it names.
sub message {
    my ($socket) = @_;
    my $text = '';
    while ($text !~ /\r\n\r\n/) { sysread($socket, $text, 65536, length $text) or return $text }
    my $length = $text =~ /^Content-Length: *(\d+)/mi ? $1 : 0;
    my $whole = index($text, "\r\n\r\n") + 4 + $length;
    while (length $text < $whole) { sysread($socket, $text, 65536, length $text) or return $text }
    return $text;
}

# What the first rule for the path says, of which a turn is taken.
sub rule {
    my ($path) = @_;
    open my $file, '+<', "$folder/rules" or return;
    my @rules = <$file>;
    for my $rule (@rules) {
        my ($turns, $of, $what) = split / /, $rule, 3;
        next if !$what || $turns == 0 || index($path, $of) != 0;
        $rule = $turns - 1 . " $of $what";
        seek $file, 0, 0;
        print $file @rules;
        truncate $file, tell $file;
        chomp $what;
        return $what;
    }
    return;
}

sub answer {
    my ($request) = @_;
    my ($path) = $request =~ m{^\S+ (?:http://[^/]*)?(\S*)};
    if (defined(my $what = rule($path))) {
        my ($kind, $rest) = (split(/ /, $what, 2), '');
        return "HTTP/1.1 307 Moved\r\nLocation: $rest$path\r\nContent-Length: 0\r\n\r\n"
            if $kind eq 'redirect';
        return "HTTP/1.1 $kind Told\r\nContent-Length: " . length($rest) . "\r\n\r\n$rest";
    }
    my $to = IO::Socket::INET->new(PeerAddr => $backend) or die $!;
    # What is kept is to be read.
    print $to $request =~ s/\r\nAccept-Encoding:[^\r]*//ir;
    return message($to);
}

for (my $n = 1; my $client = $server->accept; ++$n) {
    my $request = message($client) or next;
    my $answer = answer($request);
    $answer =~ s/\r\n(?:Connection|Keep-Alive):[^\r]*//gi;
    $answer =~ s/\r\n/\r\nConnection: close\r\n/;
    open my $file, '>', sprintf('%s/%04d', $folder, $n) or die $!;
    print $file $request, "\n", $answer, "\n";
    close $file;
    print $client $answer;
    close $client;
}
